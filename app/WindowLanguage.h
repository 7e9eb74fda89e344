#pragma once

#include <QStringList>
#include <QTranslator>

#include <optional>

namespace wingbell {

/// The language in which the window speaks. Its texts stand in the views in English; what they are
/// in another language is a catalogue inside the program, made of a file in app/translations.
class WindowLanguage
{
public:
    /// The catalogue in the program's resources for the first of the languages `wanted` that the
    /// window speaks; none where that is English, and where it speaks none of them. `wanted` has
    /// the best first and names as QLocale::uiLanguages() has them, "de-AT" or "de".
    [[nodiscard]] static std::optional<QString> catalogueFor(const QStringList& wanted);

    /// From now on texts are in the language that `wanted` asks for, until this goes. What is shown
    /// already stays as it is. English costs nothing. Needs the application, in its thread.
    explicit WindowLanguage(const QStringList& wanted);

private:
    QTranslator m_translator;
};

} // namespace wingbell
