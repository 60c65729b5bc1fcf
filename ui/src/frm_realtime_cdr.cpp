#include "frm_realtime_cdr.h"

#include "bcl2/event_bus.h"
#include "bcl2/text.h"
#include "callserver/event_ids.h"
#include "common/accessible_names.h"
#include "common/desktop.h"
#include "common/help_topic.h"
#include "common/lang_res.h"
#include "common/record_view.h"
#include "common/row_finder.h"

#include <QAction>
#include <QBrush>
#include <QGuiApplication>
#include <QHeaderView>
#include <QIcon>
#include <QScreen>
#include <QShortcut>
#include <QStandardItemModel>
#include <QToolBar>

#include <array>

namespace {

constexpr double kDesktopShare = 0.6; // of the desktop's width and height
constexpr int kMaxRows = 1000;        // with more of them the list is begun anew

struct Column {
    int item;         // its head, a language item
    const char* text; // the head of a column that has none
    const char* wide; // a value that is as wide as they get in daily use
};

constexpr const char* kWideNumber = "00000000000000";
constexpr const char* kWideTime = "0000-00-00 00:00:00";

constexpr std::array<Column, 15> kColumns = {{
    {0, "CdrID", ""},
    {469, nullptr, "000000"},
    {232, nullptr, kWideNumber},
    {350, nullptr, kWideNumber},
    {292, nullptr, kWideNumber},
    {161, nullptr, kWideNumber},
    {462, nullptr, "000"},
    {463, nullptr, "000"},
    {464, nullptr, kWideTime},
    {465, nullptr, kWideTime},
    {466, nullptr, kWideTime},
    {467, nullptr, kWideTime},
    {468, nullptr, "00000"},
    {321, nullptr, "000.000.000.000:00000"},
    {0, "FCI", "prepaid=0000;rate=00;fee=00"},
}};

template <size_t N>
QString textOf(const char (&field)[N])
{
    const std::string_view text = BclFieldText(field);
    return QString::fromUtf8(text.data(), static_cast<int>(text.size()));
}

QString timeOf(const Ccdr_record_data& record, Ecdr_time moment)
{
    Cbcl_tmp_str text;
    if (record.has(1U << moment))
        BclGetDateTimeStr(record.times[moment], text);
    return QString::fromUtf8(text.c_str());
}

QString addressOf(const Ccdr_record_data& record)
{
    if (record.has(kCdrCalledAddr))
        return textOf(record.calledAddr);
    return record.has(kCdrCallerAddr) ? textOf(record.callerAddr) : QString();
}

QColor colourOf(const Ccdr_record_data& record)
{
    if (record.has(kCdrHasEnd))
        return Qt::gray;
    if (record.has(kCdrHasAnswer))
        return Qt::red;
    return record.has(kCdrHasRing) ? Qt::blue : Qt::black;
}

} // namespace

Cfrm_realtime_cdr::Cfrm_realtime_cdr(Cdb_fac_mgr* /*store*/, QWidget* parent) : QMainWindow(parent)
{
    qRegisterMetaType<Ccdr_record_data>("Ccdr_record_data");
    _takePlace();
    _setupUI();
    connect(this, &Cfrm_realtime_cdr::sigDisplayCDRInfo, this, &Cfrm_realtime_cdr::slotDisplayCDRInfo);
    BclSubEvent(kEvtCallRecord, this, spfCdrInfoFunc);
}

void Cfrm_realtime_cdr::_takePlace()
{
    const QScreen* const screen = QGuiApplication::screens().value(0);
    if (screen == nullptr)
        return;
    const QSize desktop = WinDesktopSize();
    resize(qRound(desktop.width() * kDesktopShare), qRound(desktop.height() * kDesktopShare));
    const QRect available = screen->availableGeometry();
    move((available.width() - width()) / 2, (available.height() - height()) / 2);
}

void Cfrm_realtime_cdr::_setupUI()
{
    setContextMenuPolicy(Qt::NoContextMenu); // it would hide the toolbar for good
    GetLangItem(48, this, "");
    _setupToolbar();
    _view = new Crecord_view(this);
    _view->setObjectName(QStringLiteral("cdrRecordView"));
    NameAfterWindow(this, _view);
    _view->setUniformRowHeights(true); // else each changed cell would have its whole row measured
    setCentralWidget(_view);
    _setupView();
    // As lists do.
    new QShortcut(QKeySequence(Qt::Key_Escape), this, [this] { close(); });
    new QShortcut(QKeySequence(Qt::Key_F1), this, [] { openHelpPage(kHelpCallRecords); });
}

void Cfrm_realtime_cdr::_setupToolbar()
{
    QToolBar* const toolbar = addToolBar(QString());
    NameAfterWindow(this, toolbar);
    toolbar->setMovable(false);
    toolbar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    QAction* const clear = toolbar->addAction(QIcon(QStringLiteral(":/images/clear.png")), GetLangItem(461));
    clear->setShortcut(QKeySequence::Delete); // as in the server log
    connect(clear, &QAction::triggered, this, &Cfrm_realtime_cdr::actClearCDRInfo);
}

void Cfrm_realtime_cdr::_setupView()
{
    _model = new QStandardItemModel(0, static_cast<int>(kColumns.size()), this);
    for (size_t i = 0; i < kColumns.size(); ++i) {
        const Column& column = kColumns[i];
        _model->setHeaderData(static_cast<int>(i), Qt::Horizontal,
                              column.text == nullptr ? GetLangItem(column.item) : QString::fromLatin1(column.text));
    }
    _rows = new Crow_finder(_model);
    _view->setModel(_model);
    _view->setColumnHidden(0, true);
    _setWidths();
}

// Before there is a row: most of what is known of a call comes later than its row.
void Cfrm_realtime_cdr::_setWidths()
{
    const int margin = _view->style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, _view) + 1; // of the text
    QHeaderView& heads = *_view->header();
    for (int column = 1; column < heads.count(); ++column) {
        const QString wide = QString::fromLatin1(kColumns[static_cast<size_t>(column)].wide);
        const int needed = _view->fontMetrics().horizontalAdvance(wide) + 4 * margin;
        heads.resizeSection(column, qMax(heads.sectionSizeHint(column), needed));
    }
}

void Cfrm_realtime_cdr::spfCdrInfoFunc(void* context, void* data1, void* data2)
{
    static_cast<Cfrm_realtime_cdr*>(context)->showCDRInfo(*static_cast<const int*>(data1),
                                                          *static_cast<const Ccdr_record_data*>(data2));
}

void Cfrm_realtime_cdr::showCDRInfo(int id, Ccdr_record_data record)
{
    emit sigDisplayCDRInfo(id, QVariant::fromValue(record));
}

void Cfrm_realtime_cdr::slotDisplayCDRInfo(int id, const QVariant& value)
{
    const auto record = value.value<Ccdr_record_data>(); // an empty one when it is something else
    if (_model->rowCount() > kMaxRows)
        actClearCDRInfo();
    const QStandardItem* const shown = findItem(id);
    const int row = shown != nullptr ? shown->row() : _model->rowCount();
    if (shown == nullptr)
        _model->insertRow(row);
    displayData(row, id, record);
}

QStandardItem* Cfrm_realtime_cdr::findItem(int id)
{
    return id == 0 ? nullptr : _rows->find(QString::number(id));
}

void Cfrm_realtime_cdr::displayData(int row, int id, Ccdr_record_data record)
{
    const std::array<QVariant, kColumns.size()> values = {{
        id,
        record.callId,
        textOf(record.callerNbr),
        textOf(record.dialedNbr),
        textOf(record.calledNbr),
        textOf(record.extLine),
        record.peerServerId,
        record.releaseCode,
        timeOf(record, kCdrStart),
        timeOf(record, kCdrRing),
        timeOf(record, kCdrAnswer),
        timeOf(record, kCdrEnd),
        record.duration,
        addressOf(record),
        textOf(record.fci),
    }};
    const QColor colour = colourOf(record);
    for (size_t column = 0; column < values.size(); ++column)
        setItemValue(row, static_cast<int>(column), colour, values[column]);
}

void Cfrm_realtime_cdr::setItemValue(int row, int column, const QColor& colour, const QVariant& value)
{
    const QModelIndex cell = _model->index(row, column);
    _model->setData(cell, value, Qt::EditRole);
    _model->setData(cell, QBrush(colour, Qt::SolidPattern), Qt::ForegroundRole);
}

void Cfrm_realtime_cdr::actClearCDRInfo()
{
    if (_model->rowCount() > 0)
        _model->removeRows(0, _model->rowCount());
}
