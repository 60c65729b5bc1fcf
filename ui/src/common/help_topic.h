// The pages of the documentation, one per topic.
#pragma once

#include <QString>

// Numbered as the table of pages.
enum Ehelp_topics : int {
    kHelpNone = -1,
    kHelpSpeedDial = 0,
    kHelpIvr,
    kHelpHuntingGroup,
    kHelpDisa,
    kHelpConference,
    kHelpCallerPrepaid,
    kHelpCallingCard,
    kHelpCallShop,
    kHelpCallback,
    kHelpBlackList,
    kHelpCallerRewriting,
    kHelpSystem,
    kHelpLocalUsers,
    kHelpExtLines,
    kHelpPeerServers,
    kHelpTransitions,
    kHelpRefineCaller,
    kHelpRefineCalled,
    kHelpCallerAnalysis,
    kHelpCalledAnalysis,
    kHelpLua,
    kHelpCallRecording,
    kHelpRoutingGroup,
    kHelpEventChannel,
    kHelpTimeCondition,
    kHelpIpLists,
    kHelpRingGroup,
    kHelpTopics // how many there are
};

// Shows the page in the desktop's browser: Chinese with language code 1, where there is one, else English. The pages
// lie in the folder "help" of the current directory, beside the language files. A number that is no topic does nothing.
// GUI thread.
void openHelpTopic(Ehelp_topics topic);

// The same with pages that are no topic, by their place below the folder of their language.
inline const QString kHelpStartPage = QStringLiteral("index.html");
inline const QString kHelpCallRecords = QStringLiteral("index.html#records");
void openHelpPage(const QString& page);
