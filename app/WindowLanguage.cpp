#include "app/WindowLanguage.h"

#include <QCoreApplication>
#include <QFile>
#include <QLocale>

namespace wingbell {

namespace {

bool isEnglish(const QString& language)
{
    // No language at all, "C", means the text of the views.
    return language == u"C" || QLocale(language).language() == QLocale::English;
}

} // namespace

std::optional<QString> WindowLanguage::catalogueFor(const QStringList& wanted)
{
    for (const QString& language : wanted) {
        // English has no catalogue and yet stands in its place: "en, de" is no wish for German.
        if (isEnglish(language)) {
            return std::nullopt;
        }
        // From the most specific name to the language alone: what Austria has not got, Germany has.
        for (qsizetype end = language.size(); end > 0; end = language.lastIndexOf(u'-', end - 1)) {
            QString name = language.first(end);
            name.replace(u'-', u'_');
            const QString catalogue = u":/translations/wingbell_" % name % u".qm";
            if (QFile::exists(catalogue)) {
                return catalogue;
            }
        }
    }
    return std::nullopt;
}

WindowLanguage::WindowLanguage(const QStringList& wanted)
{
    const std::optional<QString> catalogue = catalogueFor(wanted);
    if (catalogue && m_translator.load(*catalogue)) {
        QCoreApplication::installTranslator(&m_translator);
    }
}

} // namespace wingbell
