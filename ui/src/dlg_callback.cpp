#include "dlg_callback.h"

#include "cachedb2/fac_mgr.h"
#include "common/form_grid.h"
#include "common/lang_res.h"

#include <QVBoxLayout>

using Settings = Cdb_cb_serv_data;

Cdlg_callback::Cdlg_callback(Cdb_fac_mgr* store, QWidget* parent) : Cdlg_common(store, parent)
{
    setHelpTopicID(kHelpCallback);
    GetLangItem(234, this, "");
    setupUi();
}

void Cdlg_callback::setupUi()
{
    auto* const layout = new QVBoxLayout(this);
    Cform_grid grid(layout);
    _form.text(grid.addEdit(238), &Settings::number);
    _form.number(grid.addEdit(235), &Settings::delay);
    _form.text(grid.addEdit(401), &Settings::file);
    _addButtonBox(layout);
}

// What was never saved shows its defaults.
void Cdlg_callback::Init()
{
    Settings record;
    if (_store->DbCallbackGet(&record) != kDbOk)
        record.Init();
    _form.show(record);
}

void Cdlg_callback::accept()
{
    Settings record;
    _form.read(record);
    _closeBy(_store->DbCallbackSet(&record));
}
