// Takes the place of the desktop's browser.
#pragma once

#include <QObject>
#include <QStringList>
#include <QUrl>

// Keeps the addresses of the pages that the console opens, of its help and in the web.
class HelpSpy : public QObject {
    Q_OBJECT

public:
    HelpSpy();
    ~HelpSpy() override;

    // Addresses since the last call; those of files below the current directory.
    [[nodiscard]] QStringList takeOpened();

private slots:
    void open(const QUrl& url) { _opened.append(url); }

private:
    QList<QUrl> _opened;
};
