// Takes the place of the desktop's browser.
#pragma once

#include <QObject>
#include <QStringList>
#include <QUrl>

// Keeps the addresses of the files that the console opens.
class HelpSpy : public QObject {
    Q_OBJECT

public:
    HelpSpy();
    ~HelpSpy() override;

    // Addresses since the last call, below the current directory.
    [[nodiscard]] QStringList takeOpened();

private slots:
    void open(const QUrl& url) { _opened.append(url); }

private:
    QList<QUrl> _opened;
};
