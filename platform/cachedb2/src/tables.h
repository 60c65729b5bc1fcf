// Every table of the store.
#pragma once

#include "table.h"

const Table& localUsersTable();    // tbl_local_users, Cdb_usr_info
const Table& systemTable();        // tbl_system, Cdb_sys_data
const Table& registrationsTable(); // tbl_sip_reg, Cdb_sip_reg; run-time file
const Table& contactsTable();      // tbl_sip_contact, Cdb_sip_contact; run-time file
