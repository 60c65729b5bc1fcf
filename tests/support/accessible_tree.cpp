#include "support/accessible_tree.h"

#include "common/lang_res.h"

#include <QAccessible>
#include <QWidget>

namespace {

using Look = std::function<void(const QAccessibleInterface&, const QString&)>;

// A box that shows one of several texts has that for its name: what it is for is the text of its label, else what
// describes it.
QString purposeOf(const QAccessibleInterface& part)
{
    if (part.role() != QAccessible::ComboBox)
        return part.text(QAccessible::Name);
    for (const auto& [other, relation] : part.relations()) {
        if ((relation & QAccessible::Label) != 0)
            return other->text(QAccessible::Name);
    }
    return part.text(QAccessible::Description);
}

void walk(const QAccessibleInterface* at, const Look& look)
{
    static const QSet<QAccessible::Role> kNamed = {
        QAccessible::Dialog,      QAccessible::Window,        QAccessible::Button,       QAccessible::CheckBox,
        QAccessible::RadioButton, QAccessible::ComboBox,      QAccessible::EditableText, QAccessible::SpinBox,
        QAccessible::Tree,        QAccessible::Table,         QAccessible::List,         QAccessible::ColumnHeader,
        QAccessible::PageTab,     QAccessible::PageTabList,   QAccessible::ToolBar,      QAccessible::MenuItem,
        QAccessible::ButtonMenu,  QAccessible::ButtonDropDown};
    if (at == nullptr || at->state().invisible)
        return;
    if (kNamed.contains(at->role()))
        look(*at, purposeOf(*at));
    for (int child = 0; child < at->childCount(); ++child)
        walk(at->child(child), look);
}

} // namespace

void forEachNamed(QWidget& window, const Look& look)
{
    walk(QAccessible::queryAccessibleInterface(&window), look);
}

std::string described(const QAccessibleInterface& part)
{
    const QObject* const object = part.object();
    return "role " + std::to_string(part.role()) + " (" +
           (object == nullptr ? "no object" : object->metaObject()->className()) + ") \"" +
           part.text(QAccessible::Name).toStdString() + '"';
}

QSet<QString> textsOfTheLanguage()
{
    QSet<QString> texts;
    for (QString text : gStrPlxRes)
        texts.insert(text.remove(QLatin1Char('&')));
    texts.remove(QString());
    return texts;
}
