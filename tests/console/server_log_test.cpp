// The way of a server log event into the log view.
#include "bcl2/event_bus.h"
#include "bcl2/log.h"
#include "callserver/event_ids.h"
#include "support/console_fixture.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QTextDocument>
#include <QTextEdit>
#include <QThread>

#include <string>
#include <thread>

namespace {

class ServerLog : public ConsoleFixture {
protected:
    // As a server thread does it.
    static void publishElsewhere(unsigned event, const char* text)
    {
        std::thread([=] { BclPubEvent(event, text, nullptr); }).join();
    }
    static void handleEvents() { QCoreApplication::processEvents(); }
};

TEST_F(ServerLog, LineIsDateTimeBarAndText)
{
    buildWindow();
    window->displayLog("hello");
    const QRegularExpression form(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d \\| hello$"));
    EXPECT_TRUE(form.match(logView().toPlainText()).hasMatch()) << logView().toPlainText().toStdString();
}

TEST_F(ServerLog, EventFromAnotherThreadComesOnlyThroughTheEventLoop)
{
    buildWindow();
    const QThread* writer = nullptr;
    QObject::connect(logView().document(), &QTextDocument::contentsChanged,
                     [&writer] { writer = QThread::currentThread(); });
    publishElsewhere(kBclLogEvent, "from the server");
    EXPECT_EQ(logView().toPlainText(), QString());
    handleEvents();
    EXPECT_EQ(logTexts(), QStringList{QStringLiteral("from the server")});
    EXPECT_EQ(writer, QCoreApplication::instance()->thread());
}

TEST_F(ServerLog, BothLogEventsAreShown)
{
    buildWindow();
    publishElsewhere(kBclLogEvent, "one");
    publishElsewhere(kEvtLog, "two");
    handleEvents();
    EXPECT_EQ(logTexts(), (QStringList{QStringLiteral("one"), QStringLiteral("two")}));
}

TEST_F(ServerLog, TextIsUtf8)
{
    buildWindow();
    publishElsewhere(kEvtLog, "Grüße für 王小明");
    handleEvents();
    EXPECT_EQ(logTexts(), QStringList{QStringLiteral("Grüße für 王小明")});
}

TEST_F(ServerLog, BrokenTextAndNoTextAreLinesToo)
{
    buildWindow();
    publishElsewhere(kEvtLog, "a\xff\xfe");
    publishElsewhere(kEvtLog, nullptr);
    publishElsewhere(kEvtLog, "<h1>x</h1>\r\nforged");
    handleEvents();
    EXPECT_EQ(logTexts(),
              (QStringList{QStringLiteral("a\ufffd\ufffd"), QString(), QStringLiteral("<h1>x</h1>\\x0D\\x0Aforged")}));
}

TEST_F(ServerLog, LinesOfTwoThreadsKeepTheirOrder)
{
    constexpr int kLines = 2000;
    buildWindow();
    const auto publish = [](unsigned event, const std::string& name) {
        for (int i = 0; i < kLines; ++i)
            BclPubEvent(event, (name + std::to_string(i)).c_str(), nullptr);
    };
    std::thread first(publish, kBclLogEvent, "first ");
    std::thread second(publish, kEvtLog, "second ");
    first.join();
    second.join();
    handleEvents();

    const QStringList lines = logTexts();
    EXPECT_EQ(lines.size(), 2 * kLines);
    for (const QString& name : {QStringLiteral("first "), QStringLiteral("second ")}) {
        const QStringList own = lines.filter(QRegularExpression(QLatin1Char('^') + name));
        ASSERT_EQ(own.size(), kLines);
        for (int i = 0; i < kLines; ++i)
            ASSERT_EQ(own[i], name + QString::number(i));
    }
}

TEST_F(ServerLog, LinesFromBeforeTheServerStartedAreShownWhenItDoes)
{
    keepServerLocal();
    buildWindow();
    BclLog("said before the first show");
    handleEvents();
    EXPECT_EQ(logView().toPlainText(), QString());
    window->show();
    ASSERT_TRUE(waitUntil([this] { return logTexts().contains(QStringLiteral("said before the first show")); }));
}

} // namespace
