#pragma once

#include <QIcon>
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

/// The program's icon for title lists and panels of X11 desktops, which do not ask the desktop
/// entry. It comes with the program, so that a window from the build tree has it too. Has the sizes
/// that such desktops show; each picture is read when a desktop asks for it.
[[nodiscard]] QIcon windowIcon();

/// The application: one window, forced dark, and nothing from the command line. Opens the window
/// and serves it until it is closed. `executable` is the name the program was called by. Returns
/// the program's exit status. Leaves a running server running.
[[nodiscard]] int runWindow(char* executable);

} // namespace wingbell
