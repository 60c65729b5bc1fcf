// Fills selection boxes: each item has a text and, as its data, the value that a record stores. Those that read a table
// clear the box first; a table that cannot be read leaves the first item only.
#pragma once

class Cdb_fac_mgr;
class QComboBox;

// Monday to Sunday with the days' numbers.
void InitWeekView(QComboBox* box);
// Names without data; the first becomes current.
void InitDialPlanView(Cdb_fac_mgr* store, QComboBox* box);

void InitNbrTransitionView(Cdb_fac_mgr* store, QComboBox* box);
void InitRefineClrGroupIDView(Cdb_fac_mgr* store, QComboBox* box);
void InitRefineCldGroupIDView(Cdb_fac_mgr* store, QComboBox* box);
void InitExtLineView(Cdb_fac_mgr* store, QComboBox* box); // data: the line's name
void InitPeerServerView(Cdb_fac_mgr* store, QComboBox* box);
void InitRtGroupView(Cdb_fac_mgr* store, QComboBox* box);
void InitTimeConditionView(Cdb_fac_mgr* store, QComboBox* box);
void InitHGGroupIdView(Cdb_fac_mgr* store, QComboBox* box); // groups of the local database, data signed
