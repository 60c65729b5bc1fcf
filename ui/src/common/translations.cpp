#include "common/translations.h"

#include "bcl2/ini_file.h"
#include "common/lang_res.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QTranslator>

namespace {

constexpr const char* kSection = "messages"; // of a language file: the English message, "=", the text

// What a language file says for messages. Owned by the application.
class Messages : public QTranslator {
public:
    explicit Messages(const char* path) : _file(path) {}

    [[nodiscard]] bool isEmpty() const override { return false; }
    [[nodiscard]] QString translate(const char* /*context*/, const char* english, const char* /*which*/,
                                    int /*count*/) const override
    {
        const std::string* const text = _file.find(kSection, english);
        return text == nullptr ? QString() : QString::fromStdString(*text);
    }

private:
    Cbcl_ini_file _file;
};

} // namespace

void InitTranslations(int code)
{
    Cbcl_tmp_str path;
    GetLangureResFile(code, &path);
    auto* const messages = new Messages(path.c_str());
    messages->setParent(qApp);
    QCoreApplication::installTranslator(messages);
    // Asked first: what belongs to the toolkit is not looked for in the language file.
    auto* const toolkit = new QTranslator;
    toolkit->setParent(qApp);
    const QString name = QStringLiteral("qtbase_") + GetLangLocale(code);
    if (toolkit->load(name, QLibraryInfo::location(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(toolkit);
}

QString MessageText(const QString& english)
{
    const QString key = english.trimmed(); // as keys of files are
    const QString text = QCoreApplication::translate("message", key.toUtf8().constData());
    return text == key ? english : text;
}
