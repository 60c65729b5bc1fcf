#include "common/frm_list.h"

#include "common/accessible_names.h"
#include "common/desktop.h"
#include "common/lang_res.h"
#include "common/record_view.h"

#include <QAction>
#include <QGuiApplication>
#include <QIcon>
#include <QKeyEvent>
#include <QScreen>
#include <QToolBar>
#include <QVBoxLayout>

namespace {

constexpr double kDesktopShare = 0.5; // of the desktop's width and height

} // namespace

Cfrm_list::Cfrm_list(Cdb_fac_mgr* store, QWidget* parent)
    : QDialog(parent, Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint),
      _store(store),
      _layout(new QVBoxLayout(this))
{
    _takePlace();
    _setupToolbar();
    _setupRecordView();
    _retranslateUi();
    _setupSigAndSlots();
}

void Cfrm_list::_takePlace()
{
    const QScreen* const screen = QGuiApplication::screens().value(0);
    if (screen == nullptr)
        return;
    const QSize desktop = WinDesktopSize();
    resize(qRound(desktop.width() * kDesktopShare), qRound(desktop.height() * kDesktopShare));
    const QRect available = screen->availableGeometry();
    move((available.width() - width()) / 2, (available.height() - height()) / 2);
}

QAction* Cfrm_list::_addAction(const char* image, const char* text)
{
    return _toolbar->addAction(QIcon(QString::fromLatin1(image)), tr(text));
}

void Cfrm_list::_setupToolbar()
{
    _toolbar = new QToolBar(this);
    _toolbar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    _toolbar->setStyleSheet(QStringLiteral("QToolBar{border:0}"));

    _actAdd = _addAction(":/images/add.png", "Add");
    _actAdd->setShortcuts({QKeySequence(tr("A")), QKeySequence(Qt::Key_Insert)});
    _actEdit = _addAction(":/images/edit.png", "Edit");
    _actEdit->setShortcuts(
        {QKeySequence(tr("E")), QKeySequence(Qt::Key_F2), QKeySequence(Qt::Key_Return), QKeySequence(Qt::Key_Enter)});
    _actDelete = _addAction(":/images/del.png", "Delete");
    _actDelete->setShortcut(QKeySequence(tr("Delete")));

    _spacer = new QWidget(_toolbar);
    _spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    _spacer->setVisible(true);
    _toolbar->addWidget(_spacer);

    // Where lists run from right to left, back is to the right.
    const char* const leftwards = ":/images/previous_32_32.png";
    const char* const rightwards = ":/images/next_32_32.png";
    const bool isMirrored = layoutDirection() == Qt::RightToLeft;
    _actPrevious = _addAction(isMirrored ? rightwards : leftwards, "Backward");
    _actPrevious->setShortcut(QKeySequence(QKeySequence::MoveToPreviousPage));
    _actNext = _addAction(isMirrored ? leftwards : rightwards, "Forward");
    _actNext->setShortcut(QKeySequence(QKeySequence::MoveToNextPage));
    _actRefresh = _addAction(":/images/refresh.PNG", "Refresh");
    _actRefresh->setShortcut(QKeySequence(QKeySequence::Refresh));
    _actSearch = _addAction(":/images/search_32x32.png", "Query");
    _actSearch->setShortcut(QKeySequence(QKeySequence::Find));

    _layout->addWidget(_toolbar);
    _showRefreshButton();
    _showSearchButton();
    _showPreviousButton();
    _showNextButton();
}

void Cfrm_list::_setupRecordView()
{
    _recordView = new Crecord_view(this);
    _layout->addWidget(_recordView);
    NameAfterWindow(this, _recordView);
    NameAfterWindow(this, _toolbar);
}

void Cfrm_list::_retranslateUi()
{
    GetLangItem(66, _actAdd, "");
    GetLangItem(68, _actEdit, "");
    GetLangItem(67, _actDelete, "");
    GetLangItem(355, _actPrevious, "");
    GetLangItem(356, _actNext, "");
    GetLangItem(311, _actRefresh, "");
    GetLangItem(373, _actSearch, "");
}

void Cfrm_list::_setupSigAndSlots()
{
    connect(_actAdd, &QAction::triggered, this, &Cfrm_list::actAdd);
    connect(_actEdit, &QAction::triggered, this, &Cfrm_list::actEdit);
    connect(_actDelete, &QAction::triggered, this, &Cfrm_list::actDelete);
    connect(_actRefresh, &QAction::triggered, this, &Cfrm_list::actRefresh);
    connect(_actNext, &QAction::triggered, this, &Cfrm_list::actNext);
    connect(_actPrevious, &QAction::triggered, this, &Cfrm_list::actPrevious);
    connect(_actSearch, &QAction::triggered, this, &Cfrm_list::actSearch);
    connect(_recordView, &Crecord_view::doubleClicked, this, &Cfrm_list::doubleClicked);
}

void Cfrm_list::actAdd()
{
    onAddBtn();
}

void Cfrm_list::actEdit()
{
    if (_isSelected())
        onEditBtn();
}

void Cfrm_list::actDelete()
{
    if (_isSelected())
        onDeleteBtn();
}

void Cfrm_list::actRefresh()
{
    _reload();
}

void Cfrm_list::actNext()
{
    if (!canNextPage(getRecordCnt()))
        return;
    ++_pageIndex;
    _reload();
}

void Cfrm_list::actPrevious()
{
    if (!canPrevPage())
        return;
    --_pageIndex;
    _reload();
}

void Cfrm_list::actSearch()
{
    onSearchBtn();
}

void Cfrm_list::doubleClicked(const QModelIndex& /*index*/)
{
    actEdit();
}

void Cfrm_list::showEvent(QShowEvent* event)
{
    _reload();
    QDialog::showEvent(event);
}

void Cfrm_list::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_F1)
        openHelpTopic(_helpTopic);
    QDialog::keyPressEvent(event);
}

void Cfrm_list::_reload()
{
    _deleteAllRows();
    loadData();
    _recordView->fitColumns();
}
