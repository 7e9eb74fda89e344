#pragma once

#include "relay/confinement/Confinement.h"
#include "relay/speech/SpeechTypes.h"
#include "relay/speech/SpeechVoice.h"

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace wingbell {

class WakeUp;

/// The path of `program`, looked for as the shell does; a path stays as it is. Returns nullopt if
/// there is no such program.
[[nodiscard]] std::optional<std::string> programPath(const std::string& program);

/// Text to speech: runs espeak-ng, or a program that is called like it, as a child process. Needs a
/// QCoreApplication. Not thread-safe.
///
/// The child inherits no other descriptor and no blocked or ignored signal.
class SpeechSynthesizer
{
public:
    /// Takes the next samples of the sound, at the rate everything sounds at; never none.
    using Sink = std::function<void(std::span<const float>)>;

    struct Settings
    {
        std::string program = "espeak-ng"; ///< a path, or a name to look for in PATH
        std::string voice = systemVoice(); ///< English is taken where the program has no such voice
        SpeechLimits limits;
        /// Off only for a program that has to do more than to speak, as tests have them.
        bool confined = true;
    };

    explicit SpeechSynthesizer(Settings settings);

    /// Speaks `text`, UTF-8, and gives its sound to `sink` while it is made, far faster than it
    /// plays. Runs an event loop of its own and returns when all of it was given, when that failed,
    /// or, at once, when `stop` is raised, which stays so. No process is left behind.
    [[nodiscard]] SpeechResult speak(std::string_view text, const Sink& sink, const WakeUp& stop);

    /// The voice it speaks with.
    [[nodiscard]] const std::string& voice() const { return m_settings.voice; }

private:
    class Run;

    struct Attempt
    {
        SpeechResult result;
        bool refused; ///< the program did not take the voice, or anything at all
    };

    [[nodiscard]] Attempt attempt(
        const std::string& voice, const std::string& text, const Sink& sink, const WakeUp& stop);
    Settings m_settings;
    std::optional<Confinement> m_confinement;
};

} // namespace wingbell
