#include "common/combo_fill.h"

#include "cachedb2/fac_mgr.h"
#include "common/display_text.h"
#include "common/qstr.h"
#include "common/read_rows.h"

#include <QComboBox>
#include <QStringList>

#include <list>
#include <string>

namespace {

constexpr int kDaysOfWeek = 7;

const QString kNoSelection = QStringLiteral("0");

QString text(const Cdb_query& row, unsigned column)
{
    return QString::fromUtf8(row.getRow(column));
}

// Number and description, as most tables with a numbered key show themselves.
void addNumbered(QComboBox* box, const Cdb_query& row)
{
    const uint32_t number = row.getRowU32Val(0);
    box->addItem(QStringLiteral("%1 %2").arg(QString::number(number), text(row, 1)), number);
}

void addGroup(QComboBox* box, const Cdb_query& row)
{
    box->addItem(text(row, 0), row.getRowU32Val(0));
}

template <class Add>
void fill(QComboBox* box, const QString& first, Clocal_db* db, const char* sql, Add add)
{
    box->clear();
    box->addItem(first, 0u);
    forEachRow(db, sql, [box, add](const Cdb_query& row) { add(box, row); });
    box->setCurrentIndex(0);
}

} // namespace

void InitWeekView(QComboBox* box)
{
    for (int day = 1; day <= kDaysOfWeek; ++day) {
        const int number = day % kDaysOfWeek;
        box->addItem(GetWeekStr(static_cast<Ebcl_week>(number)), number);
    }
}

void InitDialPlanView(Cdb_fac_mgr* store, QComboBox* box)
{
    std::list<std::string> names;
    store->DbInitDialPlanView(names);
    QStringList texts;
    StringListToQStringList(names, texts);
    box->clear();
    box->addItems(texts);
    box->setCurrentIndex(0);
}

void InitNbrTransitionView(Cdb_fac_mgr* store, QComboBox* box)
{
    fill(box, GetTransitionText(0), store->GetCacheDB(), "select * from tbl_nbr_trans",
         [](QComboBox* into, const Cdb_query& row) {
             Cdb_nbr_trans_data transition;
             ldb_nbr_trans_get_full_data(row, &transition);
             Cbcl_tmp_str shown;
             transition.ToString(shown);
             into->addItem(QString::fromUtf8(shown.c_str()), transition.transid);
         });
}

void InitRefineClrGroupIDView(Cdb_fac_mgr* store, QComboBox* box)
{
    fill(box, kNoSelection, store->GetCacheDB(), "select distinct groupID from tbl_nbr_clr_refine", addGroup);
}

void InitRefineCldGroupIDView(Cdb_fac_mgr* store, QComboBox* box)
{
    fill(box, kNoSelection, store->GetCacheDB(), "select distinct groupID from tbl_nbr_cld_refine", addGroup);
}

void InitExtLineView(Cdb_fac_mgr* store, QComboBox* box)
{
    box->clear();
    forEachRow(store->GetCacheDB(), "select extName, description from tbl_ext_line order by extName",
               [box](const Cdb_query& row) {
                   box->addItem(QStringLiteral("%1 %2").arg(text(row, 0), text(row, 1)), text(row, 0));
               });
    box->setCurrentIndex(0);
}

void InitPeerServerView(Cdb_fac_mgr* store, QComboBox* box)
{
    fill(box, kNoSelection, store->GetCacheDB(), "select sid, description, peerAddr, peerPort from tbl_peer_server",
         [](QComboBox* into, const Cdb_query& row) {
             Cbcl_tmp_str shown;
             shown.set("%u", row.getRowU32Val(0));
             if (!BclStrIsBlank(row.getRow(1)))
                 shown.append(" (%s)", row.getRow(1));
             shown.append(" : %s:%u", row.getRow(2), row.getRowU32Val(3));
             into->addItem(QString::fromUtf8(shown.c_str()), row.getRowU32Val(0));
         });
}

void InitRtGroupView(Cdb_fac_mgr* store, QComboBox* box)
{
    fill(box, kNoSelection, store->GetCacheDB(), "select groupID, description from tbl_route_group", addNumbered);
}

void InitTimeConditionView(Cdb_fac_mgr* store, QComboBox* box)
{
    fill(box, kNoSelection, store->GetCacheDB(), "select ID, description from tbl_time_condition", addNumbered);
}

void InitHGGroupIdView(Cdb_fac_mgr* store, QComboBox* box)
{
    box->clear();
    forEachRow(store->GetLocalDB(), "select groupID, description from tbl_hunting_group", [box](const Cdb_query& row) {
        Cbcl_tmp_str shown;
        shown.set("%-4d %s", row.getRowIntVal(0), row.getRow(1));
        box->addItem(QString::fromUtf8(shown.c_str()), row.getRowIntVal(0));
    });
}
