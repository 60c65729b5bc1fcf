// The pages of the help, in each of their languages: whole, linked, and naming what the windows show.
#include "common/dlg_common.h"
#include "common/help_topic.h"
#include "dlg_callback.h"
#include "dlg_sys_tbl.h"
#include "frm_ana_cld_nbr.h"
#include "frm_ana_clr_nbr.h"
#include "frm_call_recording.h"
#include "frm_caller_prepaid.h"
#include "frm_callingcard_fee_matrix.h"
#include "frm_callingcard_info.h"
#include "frm_callshop.h"
#include "frm_clr_rewriting.h"
#include "frm_disa_account.h"
#include "frm_disa_caller_id.h"
#include "frm_evt_channel_auth.h"
#include "frm_ext_lines.h"
#include "frm_hg_dect.h"
#include "frm_hg_info.h"
#include "frm_hg_oper.h"
#include "frm_ip_bwlist.h"
#include "frm_ivr_trigger.h"
#include "frm_local_users.h"
#include "frm_lua_trigger.h"
#include "frm_peer_servers.h"
#include "frm_prepaid_rate.h"
#include "frm_realtime_cdr.h"
#include "frm_refine_cld_nbr.h"
#include "frm_refine_clr_nbr.h"
#include "frm_rg_detection.h"
#include "frm_rg_user.h"
#include "frm_route.h"
#include "frm_route_group.h"
#include "frm_speed_dial.h"
#include "frm_sub_balance.h"
#include "frm_sys_black_list.h"
#include "frm_time_cond.h"
#include "frm_transitions.h"
#include "support/page_fixture.h"

#include <QAbstractButton>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QGroupBox>
#include <QImage>
#include <QLabel>
#include <QRegularExpression>
#include <QSet>
#include <QTabWidget>
#include <QTreeView>
#include <QXmlStreamReader>

#include <algorithm>
#include <array>
#include <ostream>
#include <string>

namespace {

const QDir kHelp(QStringLiteral(PARLOVEX_HELP_DIR));

struct HelpLanguage {
    int code;
    const char* name;
    const char* folder;  // below that of all pages
    const char* tag;     // of the element html
    const char* example; // with which the heading of an example begins
};
constexpr std::array<HelpLanguage, 2> kLanguages = {{
    {0, "English", "", "en", "Example: "},
    {1, "Chinese", "cn/", "zh-CN", "\u793A\u4F8B\uFF1A"},
}};

void PrintTo(const HelpLanguage& language, std::ostream* out)
{
    *out << language.name;
}

// What a page holds.
struct HelpPage {
    QString path;
    QString error;     // why it is not well formed; empty: it is
    QString language;  // tag
    QStringList links; // of anchors
    QStringList styles;
    QStringList pictures;
    QStringList pictureTexts; // for those who do not see them
    QSet<QString> places;     // identifiers
    QStringList outline;      // blocks in order, with their identifiers
    QStringList bold;         // what is named as the windows show it
    QStringList headings;
    QStringList fields; // at the beginning of the rows of tables
    int emptyCells = 0;
    QString title;
    QString text; // with single blanks
};

// What stands inside a paragraph may stand in another order in another language.
bool isBlock(const QString& element)
{
    static const QSet<QString> inlines = {"a", "b", "code"};
    return !inlines.contains(element);
}

// The whole page, or of one that several frames share the section of that name, whose heading counts then.
HelpPage read(const QString& path, const QString& section = {})
{
    HelpPage page;
    const QString heading = section.isEmpty() ? "h1" : "h2";
    bool isRead = section.isEmpty();
    int sectionDepth = 0; // how many elements are open inside it
    page.path = path;
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    QXmlStreamReader xml(&file);
    QStringList open;
    QString cell;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement()) {
            open.append(xml.name().toString());
            const QXmlStreamAttributes attributes = xml.attributes();
            if (attributes.hasAttribute("id"))
                page.places.insert(attributes.value("id").toString());
            if (isBlock(open.last()))
                page.outline.append(open.last() + '#' + attributes.value("id"));
            if (open.last() == "html")
                page.language = attributes.value("lang").toString();
            if (!isRead && attributes.value("id") == section) {
                isRead = true;
                sectionDepth = open.size();
            }
            if (attributes.hasAttribute("href"))
                (open.last() == "link" ? page.styles : page.links).append(attributes.value("href").toString());
            if (open.last() == "img") {
                page.pictures.append(attributes.value("src").toString());
                page.pictureTexts.append(attributes.value("alt").toString());
            }
            cell.clear();
        } else if (xml.isEndElement()) {
            if (isRead && open.contains("tbody") && open.last() == "th")
                page.fields.append(cell.simplified());
            if (open.last() == "b")
                page.bold.append(cell.simplified());
            if (isRead && open.last() == "td" && cell.simplified().isEmpty())
                ++page.emptyCells;
            isRead = isRead && open.size() != sectionDepth;
            open.removeLast();
            page.text += ' ';
        } else if (xml.isCharacters()) {
            if (open.contains("title"))
                page.title += xml.text();
            if (isRead) {
                if (open.contains(heading))
                    page.headings.append(xml.text().toString());
                page.text += xml.text();
            }
            cell += xml.text();
        }
    }
    page.error = xml.hasError() ? xml.errorString() + " in line " + QString::number(xml.lineNumber()) : QString();
    page.text = page.text.simplified();
    return page;
}

// Below the folder of a language; the folders of the others may lie inside it.
QStringList pagesOf(const HelpLanguage& language)
{
    const QDir root(kHelp.filePath(language.folder));
    QStringList pages;
    QDirIterator each(root.path(), {"*.html", "*.htm"}, QDir::Files, QDirIterator::Subdirectories);
    while (each.hasNext()) {
        const QString page = root.relativeFilePath(each.next());
        const auto isOfOther = [&](const HelpLanguage& other) {
            return other.code != language.code && *other.folder != '\0' && page.startsWith(other.folder);
        };
        if (std::none_of(kLanguages.begin(), kLanguages.end(), isOfOther))
            pages.append(page);
    }
    pages.sort();
    return pages;
}

// A text as it shows: without the letter that opens it from the keyboard, and without the dots of what asks more.
QString shownText(QString text)
{
    static const QRegularExpression suffix(QStringLiteral("\\(&.\\)"));
    text.remove(suffix).remove('&');
    return text.endsWith("...") ? text.chopped(3) : text;
}

class HelpPages : public PageFixture, public testing::WithParamInterface<HelpLanguage> {
protected:
    void SetUp() override
    {
        writeSwitches("gVarGuiLang=" + QByteArray::number(GetParam().code) + '\n');
        PageFixture::SetUp();
        ASSERT_TRUE(QFile::link(kHelp.path(), inRunFolder("help")));
    }
    [[nodiscard]] QDir pages() const { return QDir(kHelp.filePath(GetParam().folder)); }
    [[nodiscard]] QList<HelpPage> allPages() const
    {
        QList<HelpPage> all;
        for (const QString& page : pagesOf(GetParam()))
            all.append(read(pages().filePath(page)));
        return all;
    }
    // What was opened in the browser, below the folder of the language.
    QString takeAddress()
    {
        const QStringList opened = help.takeOpened();
        EXPECT_EQ(opened.size(), 1);
        const QString root = QString("help/") + GetParam().folder;
        EXPECT_TRUE(opened.value(0).startsWith(root)) << opened.value(0).toStdString();
        return opened.value(0).mid(root.size());
    }
    // The page that F1 opens in this window, as it lies in the sources.
    HelpPage openedFrom(QWidget& shown)
    {
        pressKey(shown, Qt::Key_F1);
        const QString address = takeAddress();
        const QString path = pages().filePath(address.section('#', 0, 0));
        EXPECT_TRUE(QFileInfo(path).isFile()) << path.toStdString();
        return read(path, address.section('#', 1));
    }
    // The dialogs of a page, or the one that the window is.
    static QList<const Cdlg_common*> dialogsOf(const QWidget& shown)
    {
        QList<const Cdlg_common*> dialogs;
        if (const auto* const dialog = qobject_cast<const Cdlg_common*>(&shown))
            dialogs.append(dialog);
        for (const Cdlg_common* const dialog : shown.findChildren<Cdlg_common*>())
            dialogs.append(dialog);
        return dialogs;
    }
    // Labels, groups, buttons and tabs of all dialogs.
    static QStringList textsOf(const QWidget& shown)
    {
        QStringList texts = labelsOf(shown);
        for (const Cdlg_common* const dialog : dialogsOf(shown)) {
            for (const QAbstractButton* const button : dialog->findChildren<QAbstractButton*>()) {
                if (button->isCheckable())
                    texts.append(button->text());
            }
            for (const QTabWidget* const tabs : dialog->findChildren<QTabWidget*>()) {
                for (int at = 0; at < tabs->count(); ++at)
                    texts.append(tabs->tabText(at));
            }
        }
        return texts;
    }
    static QStringList labelsOf(const QWidget& shown)
    {
        QStringList texts;
        for (const Cdlg_common* const dialog : dialogsOf(shown)) {
            for (const QLabel* const label : dialog->findChildren<QLabel*>())
                texts.append(label->text());
            for (const QGroupBox* const group : dialog->findChildren<QGroupBox*>())
                texts.append(group->title());
        }
        texts.removeAll(QString());
        return texts;
    }
    // The heads of the columns that the list of a window shows.
    static QStringList headsOf(const QWidget& shown)
    {
        QStringList heads;
        for (const QTreeView* const view : shown.findChildren<QTreeView*>()) {
            for (int column = 0; column < view->model()->columnCount(); ++column) {
                if (!view->isColumnHidden(column))
                    heads.append(view->model()->headerData(column, Qt::Horizontal).toString());
            }
        }
        return heads;
    }
    // `heading`: of the section, where it is not the window's title.
    void expectThatEveryFieldIsExplained(QWidget& shown, int minimum, const QString& heading = {})
    {
        const HelpPage page = openedFrom(shown);
        const QStringList texts = textsOf(shown);
        EXPECT_EQ(page.error, QString());
        EXPECT_GE(texts.size(), minimum);
        EXPECT_EQ(page.emptyCells, 0);
        for (const QString& label : labelsOf(shown))
            EXPECT_TRUE(page.fields.contains(label)) << label.toStdString();
        for (const QString& text : texts + headsOf(shown))
            EXPECT_TRUE(page.text.contains(text)) << text.toStdString();
        EXPECT_EQ(page.headings.value(0), heading.isEmpty() ? shown.windowTitle() : heading);
        EXPECT_TRUE(page.text.contains(GetParam().example));
    }
    template <class Frame>
    void expectThatEveryFieldIsExplained(int minimum, const QString& heading = {})
    {
        expectThatEveryFieldIsExplained(this->template open<Frame>(), minimum, heading);
    }
};

class HelpFolder : public PageFixture {};

INSTANTIATE_TEST_SUITE_P(Languages, HelpPages, testing::ValuesIn(kLanguages),
                         [](const auto& language) { return std::string(language.param.name); });

TEST_P(HelpPages, AreWellFormedAndNameThemselves)
{
    const QList<HelpPage> all = allPages();
    ASSERT_GE(all.size(), 3);
    for (const HelpPage& page : all) {
        EXPECT_EQ(page.error, QString()) << page.path.toStdString();
        EXPECT_EQ(page.language, GetParam().tag) << page.path.toStdString();
        EXPECT_EQ(page.headings.size(), 1) << page.path.toStdString();
        EXPECT_TRUE(page.title.contains(page.headings.value(0))) << page.path.toStdString();
    }
}

TEST_P(HelpPages, EveryTopicHasItsPlace)
{
    for (int topic = 0; topic < kHelpTopics; ++topic) {
        openHelpTopic(static_cast<Ehelp_topics>(topic));
        const QString address = takeAddress();
        const QString path = pages().filePath(address.section('#', 0, 0));
        ASSERT_TRUE(QFileInfo(path).isFile()) << topic << ": " << path.toStdString();
        const QString place = address.section('#', 1);
        EXPECT_TRUE(place.isEmpty() || read(path).places.contains(place)) << topic << ": " << place.toStdString();
    }
}

TEST_P(HelpPages, WindowsWithoutATopicHaveTheirPlace)
{
    for (const QString& page : {kHelpStartPage, kHelpCallRecords}) {
        openHelpPage(page);
        EXPECT_EQ(takeAddress(), page);
        const QString place = page.section('#', 1);
        EXPECT_TRUE(place.isEmpty() || read(pages().filePath("index.html")).places.contains(place));
    }
}

TEST_P(HelpPages, LinksAndStyleSheetsLeadSomewhere)
{
    const QStringList all = pagesOf(GetParam());
    for (const HelpPage& page : allPages()) {
        const QDir folder = QFileInfo(page.path).dir();
        ASSERT_EQ(page.styles.size(), 1) << page.path.toStdString();
        EXPECT_EQ(QFileInfo(folder.filePath(page.styles[0])).canonicalFilePath(), kHelp.canonicalPath() + "/style.css");
        for (const QString& link : page.links) {
            const QString target = link.section('#', 0, 0);
            const QString path = target.isEmpty() ? page.path : QDir::cleanPath(folder.filePath(target));
            // Not into another language, either.
            ASSERT_TRUE(all.contains(pages().relativeFilePath(path)))
                << page.path.toStdString() << ": " << link.toStdString();
            const QString place = link.section('#', 1);
            EXPECT_TRUE(place.isEmpty() || read(path).places.contains(place)) << link.toStdString();
        }
    }
}

TEST_P(HelpPages, ShowPicturesOfTheirOwnLanguageAndNoneLiesUnused)
{
    const QDir folder(pages().filePath("images"));
    const QStringList stored = folder.entryList(QDir::Files);
    QSet<QString> unused(stored.begin(), stored.end());
    ASSERT_GT(unused.size(), 40);
    for (const HelpPage& page : allPages()) {
        EXPECT_FALSE(page.pictures.empty()) << page.path.toStdString();
        EXPECT_FALSE(page.pictureTexts.contains(QString())) << page.path.toStdString();
        for (const QString& picture : page.pictures) {
            const QFileInfo file(QFileInfo(page.path).dir().filePath(picture));
            EXPECT_TRUE(file.isFile()) << page.path.toStdString() << ": " << picture.toStdString();
            EXPECT_EQ(file.canonicalPath(), folder.canonicalPath()) << picture.toStdString();
            EXPECT_FALSE(QImage(file.filePath()).isNull()) << picture.toStdString();
            unused.remove(file.fileName());
        }
    }
    EXPECT_TRUE(unused.empty()) << unused.values().join(' ').toStdString();
}

TEST_P(HelpPages, TheStartPageLeadsToEveryOther)
{
    const HelpPage start = read(pages().filePath("index.html"));
    QSet<QString> linked = {start.path};
    for (const QString& link : start.links)
        linked.insert(pages().filePath(link.section('#', 0, 0)));
    for (const HelpPage& page : allPages())
        EXPECT_TRUE(linked.contains(page.path)) << page.path.toStdString();
}

TEST_P(HelpPages, NameMenusAndButtonsAsTheyShow)
{
    QSet<QString> shown = {"F1"};
    for (int id = 1; id <= kLastLangItem; ++id)
        shown.insert(shownText(GetLangItem(id)));
    shown.remove(QString());
    for (const HelpPage& page : allPages()) {
        for (const QString& text : page.bold)
            EXPECT_TRUE(shown.contains(text)) << page.path.toStdString() << ": " << text.toStdString();
    }
}

TEST_F(HelpFolder, HoldsPagesBuiltAlikeInEveryLanguage)
{
    const HelpLanguage& first = kLanguages.front();
    ASSERT_GE(pagesOf(first).size(), 3);
    for (const HelpLanguage& language : kLanguages) {
        ASSERT_EQ(pagesOf(language), pagesOf(first)) << language.name;
        for (const QString& name : pagesOf(first)) {
            HelpPage model = read(QDir(kHelp.filePath(first.folder)).filePath(name));
            HelpPage page = read(QDir(kHelp.filePath(language.folder)).filePath(name));
            EXPECT_EQ(page.outline, model.outline) << page.path.toStdString();
            EXPECT_EQ(page.pictures, model.pictures) << page.path.toStdString();
            page.links.sort();
            model.links.sort();
            EXPECT_EQ(page.links, model.links) << page.path.toStdString();
        }
    }
}

TEST_F(HelpFolder, LiesBesideTheProgram)
{
    const QDir program = QFileInfo(QStringLiteral(PARLOVEX_PROGRAM)).dir();
    QDirIterator each(kHelp.path(), QDir::Files, QDirIterator::Subdirectories);
    int files = 0;
    for (; each.hasNext(); ++files) {
        const QString source = each.next();
        EXPECT_EQ(readFile(program.filePath("help/" + kHelp.relativeFilePath(source))), readFile(source))
            << source.toStdString();
    }
    EXPECT_GE(files, 4);
}

TEST_P(HelpPages, SystemSettingsExplainEveryField)
{
    Cdlg_sys_tbl dialog(&store(), nullptr);
    expectThatEveryFieldIsExplained(dialog, 40);
}

TEST_P(HelpPages, ExternalLinesExplainEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_ext_lines>(35);
}

TEST_P(HelpPages, LocalUsersExplainEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_local_users>(65);
}

TEST_P(HelpPages, ConferenceRoomsAreExplainedByTheirFields)
{
    openHelpTopic(kHelpConference);
    const HelpPage page = read(pages().filePath(takeAddress()));
    EXPECT_TRUE(page.fields.contains(item(146)));
    EXPECT_TRUE(page.fields.contains(item(276)));
    EXPECT_EQ(page.emptyCells, 0);
    EXPECT_TRUE(page.text.contains(GetParam().example));
}

TEST_P(HelpPages, TheStartPageExplainsEveryColumnOfCallRecords)
{
    const Cfrm_realtime_cdr records(nullptr, nullptr);
    const QStringList heads = headsOf(records);
    EXPECT_EQ(heads.size(), 14);
    const HelpPage page = read(pages().filePath("index.html"));
    for (const QString& head : heads)
        EXPECT_TRUE(page.fields.contains(head)) << head.toStdString();
}

TEST_P(HelpPages, PeerServersExplainEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_peer_servers>(17);
}

TEST_P(HelpPages, RoutingGroupsAndRoutesExplainEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_route_group>(2);
    expectThatEveryFieldIsExplained<Cfrm_route>(6, item(395));
}

TEST_P(HelpPages, TransitionsExplainEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_transitions>(9);
}

TEST_P(HelpPages, AnalysesExplainEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_ana_clr_nbr>(4);
    expectThatEveryFieldIsExplained<Cfrm_ana_cld_nbr>(13);
}

TEST_P(HelpPages, RefinementsExplainEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_refine_clr_nbr>(4);
    expectThatEveryFieldIsExplained<Cfrm_refine_cld_nbr>(4);
}

TEST_P(HelpPages, HuntingGroupsExplainEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_hg_info>(9, item(285));
    expectThatEveryFieldIsExplained<Cfrm_hg_oper>(3, item(285));
    expectThatEveryFieldIsExplained<Cfrm_hg_dect>(3, item(285));
}

TEST_P(HelpPages, RingGroupsExplainEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_rg_user>(2, item(457));
    expectThatEveryFieldIsExplained<Cfrm_rg_detection>(4, item(457));
}

TEST_P(HelpPages, DisaExplainsEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_disa_account>(3, item(298));
    expectThatEveryFieldIsExplained<Cfrm_disa_caller_id>(2, item(298));
}

TEST_P(HelpPages, CallbackExplainsEveryField)
{
    Cdlg_callback dialog(&store(), nullptr);
    expectThatEveryFieldIsExplained(dialog, 3);
}

TEST_P(HelpPages, PrepaidExplainsEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_prepaid_rate>(4, item(28));
    expectThatEveryFieldIsExplained<Cfrm_caller_prepaid>(3, item(28));
    expectThatEveryFieldIsExplained<Cfrm_sub_balance>(2, item(28));
}

TEST_P(HelpPages, CallingCardsExplainEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_callingcard_info>(6, item(33));
    expectThatEveryFieldIsExplained<Cfrm_callingcard_fee_matrix>(3, item(33));
}

TEST_P(HelpPages, TimeConditionsExplainEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_time_cond>(12);
}

TEST_P(HelpPages, TriggersExplainEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_ivr_trigger>(4);
    expectThatEveryFieldIsExplained<Cfrm_lua_trigger>(5);
}

TEST_P(HelpPages, SpeedDialAndCallRecordingExplainEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_speed_dial>(4);
    expectThatEveryFieldIsExplained<Cfrm_call_recording>(4);
}

TEST_P(HelpPages, AccessListsExplainEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_sys_black_list>(4);
    expectThatEveryFieldIsExplained<Cfrm_ip_bwlist>(3);
    expectThatEveryFieldIsExplained<Cfrm_evt_channel_auth>(1);
}

TEST_P(HelpPages, CallerRewritingExplainsEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_clr_rewriting>(3);
}

TEST_P(HelpPages, CallShopRatesExplainEveryField)
{
    expectThatEveryFieldIsExplained<Cfrm_callshop>(4);
}

} // namespace
