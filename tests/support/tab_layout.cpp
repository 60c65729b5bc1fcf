#include "support/tab_layout.h"

#include "common/lang_res.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QDialog>
#include <QLineEdit>
#include <QSet>
#include <QTabWidget>
#include <gtest/gtest.h>

#include <functional>

namespace {

void forEachTab(QDialog& editor, const std::function<void(QWidget&)>& look)
{
    auto* const tabs = editor.findChild<QTabWidget*>();
    for (int at = 0; at < tabs->count(); ++at) {
        tabs->setCurrentIndex(at);
        QCoreApplication::processEvents();
        look(*tabs->widget(at));
    }
}

} // namespace

void lengthenTexts()
{
    constexpr int kShort = 3; // characters: names like "SIP" stay
    constexpr int kPercent = 35;
    for (QString& text : gStrPlxRes) {
        if (text.size() > kShort)
            text += QString(text.size() * kPercent / 100, QLatin1Char('n'));
    }
}

void expectInputsInOneLine(QDialog& editor)
{
    QSet<QPair<int, int>> edges;
    const auto note = [&](const QWidget* input) { edges.insert({input->mapTo(&editor, {}).x(), input->width()}); };
    forEachTab(editor, [&](const QWidget& tab) {
        for (const QLineEdit* const each : tab.findChildren<QLineEdit*>())
            note(each);
        for (const QComboBox* const each : tab.findChildren<QComboBox*>())
            note(each);
    });
    EXPECT_EQ(edges.size(), 1);
}

void expectTabsFit(QDialog& editor)
{
    forEachTab(editor, [](const QWidget& tab) { EXPECT_LE(tab.minimumSizeHint().width(), tab.width()); });
}
