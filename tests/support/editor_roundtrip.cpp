#include "support/editor_roundtrip.h"

#include "support/box_answers.h"
#include "support/page_fixture.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QLineEdit>
#include <QRadioButton>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <numeric>
#include <string>

namespace {

using Kind = EditorInput::Kind;

std::string nameOf(Kind kind, const QString& text, int nth)
{
    constexpr std::array<const char*, 4> kKinds = {"line", "selection box", "check box", "radio button"};
    const std::string place = nth == 0 ? std::string() : " number " + std::to_string(nth + 1);
    return std::string(kKinds.at(kind)) + place + " \"" + text.toStdString() + '"';
}

struct FoundInput {
    Kind kind;
    QString text;
    QWidget* widget;
    int nth = 0;

    [[nodiscard]] std::string name() const { return nameOf(kind, text, nth); }
    [[nodiscard]] bool is(const EditorInput& input) const
    {
        return kind == input.kind && text == item(input.item) && nth == input.nth;
    }
    [[nodiscard]] bool isUsable() const { return widget->isEnabled() && !widget->isHidden(); }
};

// In the order of the tab key.
std::vector<FoundInput> inputsOf(const QDialog& editor)
{
    std::vector<FoundInput> found;
    for (QWidget* each = editor.nextInFocusChain(); each != &editor; each = each->nextInFocusChain()) {
        if (auto* const check = qobject_cast<QCheckBox*>(each))
            found.push_back({Kind::Check, check->text(), each});
        else if (auto* const radio = qobject_cast<QRadioButton*>(each))
            found.push_back({Kind::Radio, radio->text(), each});
        else if (qobject_cast<QComboBox*>(each) != nullptr)
            found.push_back({Kind::Combo, each->accessibleName(), each});
        else if (qobject_cast<QLineEdit*>(each) != nullptr && qobject_cast<QComboBox*>(each->parent()) == nullptr)
            found.push_back({Kind::Edit, each->accessibleName(), each});
    }
    for (auto each = found.begin(); each != found.end(); ++each)
        each->nth = static_cast<int>(std::count_if(found.begin(), each, [&](const FoundInput& other) {
            return other.kind == each->kind && other.text == each->text;
        }));
    return found;
}

// The last character becomes the one after it, so that numbers, dates and addresses stay what they are.
void changeText(QLineEdit& edit)
{
    QString text = edit.text();
    ASSERT_FALSE(text.isEmpty()) << "an empty line says nothing of its field";
    const QChar last = text.back();
    text.back() = last == QLatin1Char('9') ? QLatin1Char('8') : QChar(last.unicode() + 1);
    edit.setText(text);
    ASSERT_EQ(edit.text(), text);
}

// An editable box shows a text beside its current entry, so it is changed by its text.
void changeChoice(QComboBox& box)
{
    int other = 0;
    while (other < box.count() && box.itemText(other) == box.currentText())
        ++other;
    ASSERT_LT(other, box.count()) << "nothing else to choose";
    box.isEditable() ? box.setEditText(box.itemText(other)) : box.setCurrentIndex(other);
}

void changeInput(const FoundInput& found)
{
    switch (found.kind) {
    case Kind::Edit:
        return changeText(*qobject_cast<QLineEdit*>(found.widget));
    case Kind::Combo:
        return changeChoice(*qobject_cast<QComboBox*>(found.widget));
    case Kind::Check:
    case Kind::Radio:
        return qobject_cast<QAbstractButton*>(found.widget)->click();
    }
}

RecordBytes difference(const RecordBytes& one, const RecordBytes& other)
{
    RecordBytes bits(one.size());
    std::transform(one.begin(), one.end(), other.begin(), bits.begin(), std::bit_xor<>());
    return bits;
}

bool meet(const RecordBytes& one, const RecordBytes& other)
{
    return std::inner_product(one.begin(), one.end(), other.begin(), false, std::logical_or<>(),
                              [](uint8_t a, uint8_t b) { return (a & b) != 0; });
}

RecordBytes join(RecordBytes into, const std::vector<RecordBytes>& masks)
{
    for (const RecordBytes& mask : masks)
        std::transform(into.begin(), into.end(), mask.begin(), into.begin(), std::bit_or<>());
    return into;
}

// Offsets of the bytes in which a mask has bits that the other lacks.
std::vector<size_t> bytesBeyond(const RecordBytes& mask, const RecordBytes& allowed)
{
    std::vector<size_t> offsets;
    for (size_t at = 0; at < mask.size(); ++at) {
        if ((mask[at] & ~allowed[at]) != 0)
            offsets.push_back(at);
    }
    return offsets;
}

const EditorInput* find(const std::vector<EditorInput>& inputs, const FoundInput& found)
{
    const auto at = std::find_if(inputs.begin(), inputs.end(), [&](const EditorInput& each) { return found.is(each); });
    return at == inputs.end() ? nullptr : &*at;
}

// A radio button that is on cannot be changed by a press on it.
bool canChange(const FoundInput& found)
{
    const auto* const radio = qobject_cast<QRadioButton*>(found.widget);
    return radio == nullptr || !radio->isChecked();
}

class Run {
public:
    explicit Run(const EditorRoundTrip& plan) : _plan(plan) {}

    void checkPlan() const
    {
        const RecordBytes differing = difference(_plan.record, _plan.defaults);
        RecordBytes named = join(RecordBytes(_plan.record.size()), _plan.kept);
        for (const std::vector<EditorInput>* list : {&_plan.inputs, &_plan.locked}) {
            for (const EditorInput& input : *list) {
                named = join(named, input.owns);
                for (const RecordBytes& mask : input.owns)
                    EXPECT_TRUE(meet(differing, mask))
                        << nameOf(input.kind, item(input.item), input.nth) << " shows a default";
            }
        }
        EXPECT_EQ(bytesBeyond(RecordBytes(named.size(), 0xff), named), std::vector<size_t>())
            << "bytes of the record that nobody owns";
    }

    void checkUnchanged() const
    {
        _plan.putBack();
        ASSERT_EQ(_plan.stored(), _plan.record) << "the store gives something else than it was given";
        _plan.edit([this](QDialog& editor) {
            checkInputs(editor);
            pressOk(editor);
        });
        EXPECT_EQ(bytesBeyond(difference(_plan.stored(), _plan.record), RecordBytes(_plan.record.size())),
                  std::vector<size_t>())
            << "bytes that OK without a change has changed";
    }

    void checkInput(const EditorInput& input) const
    {
        const std::string name = nameOf(input.kind, item(input.item), input.nth);
        _plan.putBack();
        bool isChanged = false;
        _plan.edit([&](QDialog& editor) {
            for (const FoundInput& found : inputsOf(editor)) {
                if (!found.is(input) || !canChange(found))
                    continue;
                isChanged = true;
                input.change ? input.change(*found.widget) : changeInput(found);
            }
            pressOk(editor);
        });
        const RecordBytes changed = difference(_plan.stored(), _plan.record);
        const RecordBytes owned = join(RecordBytes(changed.size()), input.owns);
        EXPECT_EQ(bytesBeyond(changed, owned), std::vector<size_t>()) << "bytes changed by " << name;
        for (const RecordBytes& mask : input.owns)
            EXPECT_TRUE(!isChanged || meet(changed, mask)) << name << " did not change all that it owns";
    }

private:
    // All of them are in the tables, once, and as usable as the tables say.
    void checkInputs(const QDialog& editor) const
    {
        const std::vector<FoundInput> all = inputsOf(editor);
        EXPECT_EQ(all.size(), _plan.inputs.size() + _plan.locked.size());
        for (const FoundInput& found : all) {
            const bool isFree = find(_plan.inputs, found) != nullptr;
            EXPECT_NE(isFree, find(_plan.locked, found) != nullptr) << found.name() << " is not in one of the tables";
            EXPECT_EQ(isFree, found.isUsable()) << found.name();
        }
    }

    const EditorRoundTrip& _plan;
};

} // namespace

void EditorRoundTrip::check() const
{
    const Run run(*this);
    run.checkPlan();
    run.checkUnchanged();
    if (testing::Test::HasFatalFailure())
        return;
    for (const EditorInput& input : inputs)
        run.checkInput(input);
}
