#include "common/accessible_names.h"

#include "common/lang_res.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QTabBar>
#include <QToolButton>

void NameInput(QWidget* input, const QString& text)
{
    input->setAccessibleName(text);
    if (auto* const box = qobject_cast<QComboBox*>(input))
        box->view()->setAccessibleName(text);
}

void NameAfterWindow(const QWidget* window, QWidget* part)
{
    const auto name = [part](const QString& title) {
        part->setAccessibleName(title);
        // Behind it are the buttons for which a toolbar has no room.
        if (auto* const more = part->findChild<QToolButton*>(QStringLiteral("qt_toolbar_ext_button")))
            more->setAccessibleName(title);
    };
    name(window->windowTitle());
    QObject::connect(window, &QWidget::windowTitleChanged, part, name);
}

void NameTabMovers(const QWidget* dialog)
{
    for (const QTabBar* const row : dialog->findChildren<QTabBar*>()) {
        for (QToolButton* const mover : row->findChildren<QToolButton*>()) {
            const bool isBack = mover->objectName() == QLatin1String("ScrollLeftButton");
            mover->setAccessibleName(GetLangItem(isBack ? 355 : 356));
            mover->setFocusPolicy(Qt::NoFocus);
        }
    }
}
