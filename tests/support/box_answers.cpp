#include "support/box_answers.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QEvent>
#include <QInputDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <gtest/gtest.h>

namespace {

std::string describe(const QDialog& dialog)
{
    const auto* const box = qobject_cast<const QMessageBox*>(&dialog);
    const QString text = box == nullptr ? QString() : QStringLiteral(": ") + box->text();
    return (QLatin1Char('"') + dialog.windowTitle() + QLatin1Char('"') + text).toStdString();
}

void press(QDialog& dialog, QDialogButtonBox::StandardButton which)
{
    auto* const buttons = dialog.findChild<QDialogButtonBox*>();
    QPushButton* const button = buttons == nullptr ? nullptr : buttons->button(which);
    ASSERT_NE(button, nullptr) << describe(dialog);
    ASSERT_TRUE(button->isEnabled() && button->isVisible()) << describe(dialog);
    button->click();
}

QInputDialog* inputOf(QDialog& dialog, const QString& label, const QString& initial)
{
    auto* const input = qobject_cast<QInputDialog*>(&dialog);
    EXPECT_NE(input, nullptr) << describe(dialog) << " asks for no text";
    if (input == nullptr)
        return nullptr;
    EXPECT_EQ(input->labelText(), label);
    EXPECT_EQ(input->textValue(), initial);
    return input;
}

void expectClosed(QDialog& dialog)
{
    if (!dialog.isVisible())
        return;
    ADD_FAILURE() << "still open after its answer: " << describe(dialog);
    dialog.reject();
}

} // namespace

void callLater(QObject* context, int ms, std::function<void()> call)
{
    auto* const timer = new QTimer(context);
    timer->setSingleShot(true);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, call = std::move(call)] {
        timer->deleteLater();
        call();
    });
    timer->start(ms);
}

void pressOk(QDialog& dialog)
{
    press(dialog, QDialogButtonBox::Ok);
}

void pressCancel(QDialog& dialog)
{
    press(dialog, QDialogButtonBox::Cancel);
}

BoxAnswers::BoxAnswers()
{
    qApp->installEventFilter(this);
}

BoxAnswers::~BoxAnswers()
{
    for (const Expected& left : _expected)
        ADD_FAILURE() << "nobody showed the expected box \"" << left.title.toStdString() << "\"";
}

void BoxAnswers::expect(const QString& title, const QString& text, std::function<void(QMessageBox&)> answer)
{
    _expected.push_back({title, [text, answer = std::move(answer)](QDialog& dialog) {
                             auto* const box = qobject_cast<QMessageBox*>(&dialog);
                             ASSERT_NE(box, nullptr) << describe(dialog) << " is no message box";
                             EXPECT_EQ(box->text(), text);
                             if (answer)
                                 answer(*box);
                             else
                                 pressOk(dialog);
                         }});
}

void BoxAnswers::expectInput(const QString& title, const QString& label, const QString& initial, const QString& text)
{
    _expected.push_back({title, [label, initial, text](QDialog& dialog) {
                             if (QInputDialog* const input = inputOf(dialog, label, initial)) {
                                 input->setTextValue(text);
                                 pressOk(dialog);
                             }
                             expectClosed(dialog);
                         }});
}

void BoxAnswers::expectInputToCancel(const QString& title, const QString& label, const QString& initial)
{
    _expected.push_back({title, [label, initial](QDialog& dialog) {
                             if (inputOf(dialog, label, initial) != nullptr)
                                 pressCancel(dialog);
                             expectClosed(dialog);
                         }});
}

void BoxAnswers::expectEditor(const QString& title, std::function<void(QDialog&)> use)
{
    _expected.push_back({title, [use = std::move(use)](QDialog& dialog) {
                             use(dialog);
                             expectClosed(dialog);
                         }});
}

bool BoxAnswers::eventFilter(QObject* watched, QEvent* event)
{
    auto* const dialog = qobject_cast<QDialog*>(watched);
    if (dialog != nullptr && dialog->isModal() && event->type() == QEvent::Show && !event->spontaneous()) {
        if (qobject_cast<QMessageBox*>(dialog) != nullptr)
            ++_shown;
        // Its buttons are there once it has handled this event.
        callLater(dialog, 0, [this, dialog] { answerNext(*dialog); });
    }
    return QObject::eventFilter(watched, event);
}

void BoxAnswers::answerNext(QDialog& dialog)
{
    if (_expected.empty()) {
        ADD_FAILURE() << "unexpected box " << describe(dialog);
        dialog.reject();
        return;
    }
    const Expected expected = std::move(_expected.front());
    _expected.pop_front();
    EXPECT_EQ(dialog.windowTitle(), expected.title);
    expected.answer(dialog);
}
