// The editor of a local user over a store with lines and a time condition.
#pragma once

#include "bcl2/text.h"
#include "frm_local_users.h"
#include "support/local_users_fixture.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QRadioButton>

#include <functional>
#include <stdexcept>

class LocalUserEditor : public LocalUsersFixture {
protected:
    using User = Cdb_usr_info;

    static constexpr uint32_t kNamedFlags =
        kUsrForwardBusy | kUsrForwardNotRegistered | kUsrVoiceMail | kUsrPrepaid | kUsrRelayMedia | kUsrVideo |
        kUsrCallShop | kUsrForwardAll | kUsrCallWaiting | kUsrConference | kUsrForwardNoAnswer | kUsrTransfer |
        kUsrHideNumber | kUsrRejectAnonymous | kUsrDtmfInfo | kUsrDtmfInband | kUsrRecordCalls | kUsrIpAuth |
        kUsrDoNotDisturb | kUsrMessages | kUsrMissedCallMail;
    static constexpr uint32_t kLevels = 0x7e;
    static constexpr unsigned kVmsStored = 1; // voice mail is kept on the server

    void SetUp() override
    {
        LocalUsersFixture::SetUp();
        addLine("trunk-a", "Provider");
        addLine("trunk-b");
        Cdb_time_cond condition;
        condition.ID = 3;
        ASSERT_EQ(store().DbTimeConditionAdd(condition), kDbOk);
        open<Cfrm_local_users>();
    }

    // Every field other than its default, and as the editor would store it.
    static User unusual()
    {
        User record = user("2000");
        record.flags ^= kNamedFlags;
        record.levels = Cbcl_bit_set(0);
        record.noAnsTime = 25;
        record.expiryDate = 20271224;
        record.timeCondId = 3;
        record.ipPort = 5070;
        record.pickupGroup = -4;
        record.maxDuration = 600;
        record.maxCalls = 3;
        record.maxOutCalls = 2;
        record.maxConfParties = 5;
        record.callWaitingLimit = 254;
        record.followMeType = 2;
        record.followMeTime = 17;
        BclCopyStr(record.description, "Empfang Süd");
        BclCopyStr(record.dispName, "王小明");
        BclCopyStr(record.email, "ann@example.org");
        BclCopyStr(record.extLine, "trunk-b");
        BclCopyStr(record.dialPlan, "night");
        BclCopyStr(record.ipAddr, "10.0.0.7");
        record.SetCFUNbr("3001");
        record.SetCFNCNbr("3002");
        record.SetCFBNbr("3003");
        record.SetCFNANbr("3004");
        BclCopyStr(record.followMeNbr1, "4001");
        BclCopyStr(record.followMeNbr2, "4002");
        BclCopyStr(record.followMeNbr3, "4003");
        return record;
    }

    void keepUnusual()
    {
        ASSERT_EQ(store().DbSetVmsMode(kVmsStored), kDbOk);
        keep(unusual());
        writeRegistration("2000", "192.168.1.5", 5062, kUsrTalking, "Phone");
        frame().hide();
        frame().show();
    }

    void add(const std::function<void(QDialog&)>& use)
    {
        boxes.expectEditor(title(), use);
        press(Add);
    }
    void edit(const char* name, const std::function<void(QDialog&)>& use)
    {
        boxes.expectInput(item(373), item(118), QString(), name);
        boxes.expectEditor(title(), use);
        press(Query);
    }
    static QLineEdit& line(QDialog& editor, int labelItem) { return input<QLineEdit>(editor, labelItem); }
    static QComboBox& choice(QDialog& editor, int labelItem) { return input<QComboBox>(editor, labelItem); }
    // The input in the row of a check box.
    template <class Kind>
    static Kind& beside(QDialog& editor, int checkItem)
    {
        for (Kind* const each : editor.findChildren<Kind*>()) {
            if (each->accessibleName() == item(checkItem))
                return *each;
        }
        throw std::logic_error("no input beside " + item(checkItem).toStdString());
    }
    static QRadioButton& radio(QDialog& editor, int textItem)
    {
        for (QRadioButton* const each : editor.findChildren<QRadioButton*>()) {
            if (each->text() == item(textItem))
                return *each;
        }
        throw std::logic_error("no such radio button: " + item(textItem).toStdString());
    }
    static void forward(QDialog& editor, int checkItem, const QString& number)
    {
        check(editor, checkItem).setChecked(true);
        beside<QLineEdit>(editor, checkItem).setText(number);
    }

    // Adding "2000" with this change is refused with this message, and nothing is stored.
    void expectRefused(const QString& message, const std::function<void(QDialog&)>& spoil)
    {
        const unsigned before = store().DbGetUsrCnt();
        boxes.expectEditor(title(), [=](QDialog& editor) {
            line(editor, 118).setText("2000");
            spoil(editor);
            pressOk(editor);
            EXPECT_EQ(editor.result(), QDialog::Rejected);
        });
        if (!message.isEmpty())
            boxes.expect(item(77), message);
        press(Add);
        EXPECT_EQ(store().DbGetUsrCnt(), before);
        EXPECT_EQ(static_cast<unsigned>(model().rowCount()), before);
    }
    // Adding "2000" with this change stores it.
    User added(const std::function<void(QDialog&)>& change)
    {
        store().DbDelUsrInfo("2000");
        add([=](QDialog& editor) {
            line(editor, 118).setText("2000");
            change(editor);
            pressOk(editor);
            EXPECT_EQ(editor.result(), QDialog::Accepted);
        });
        return stored("2000");
    }

    // Spoil what accept() looks at, in its order. Each but the first two can be there with all that follow it.
    static void spoilPassword(QDialog& editor) { line(editor, 119).setText(QString(33, 'x')); }
    static void spoilLine(QDialog& editor)
    {
        check(editor, 128).setChecked(true);
        beside<QComboBox>(editor, 128).setCurrentIndex(-1);
    }
    static void spoilDate(QDialog& editor) { line(editor, 338).setText("2027-1"); }
    static void spoilTime(QDialog& editor) { line(editor, 125).setText("3600"); }
    static void spoilMail(QDialog& editor) { check(editor, 126).setChecked(true); }
    static void spoilServer(QDialog& editor)
    {
        check(editor, 126).setChecked(true);
        line(editor, 120).setText("ann@example.org");
    }
    static void spoilIp(QDialog& editor) { check(editor, 430).setChecked(true); }
};
