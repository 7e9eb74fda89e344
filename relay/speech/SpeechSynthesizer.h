#pragma once

#include "base/FileDescriptor.h"
#include "base/Result.h"
#include "relay/confinement/Confinement.h"
#include "relay/speech/Resampler.h"
#include "relay/speech/SilenceTrimmer.h"
#include "relay/speech/SpeechInput.h"
#include "relay/speech/WavStream.h"

#include <QByteArray>
#include <QProcess>
#include <QSocketNotifier>
#include <QString>
#include <QTimer>

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wingbell {

/// How long a speech program and what it says may take.
struct SpeechLimits
{
    /// The timeout after which a program that does nothing at all counts as hung.
    std::chrono::milliseconds idle = std::chrono::seconds(2);
    /// The timeout for all of it.
    std::chrono::milliseconds total = std::chrono::seconds(15);
    /// How much of the sound is played; the rest is cut off.
    std::chrono::milliseconds sound = std::chrono::seconds(90);
    /// How much of it is played while another sender waits for one of its channels.
    std::chrono::milliseconds hold = std::chrono::seconds(20);
};

enum class SpeechEnd {
    Spoken,  ///< all of it
    Cut,     ///< only its beginning: it was too long
    GaveWay, ///< only its beginning: it was long, and another sender waited
    Stopped, ///< its sender silenced it
};

/// Why nothing of a text was spoken, or only its beginning.
struct SpeechError
{
    QString reason; ///< for a person; a clause without a capital or a full stop

    friend bool operator==(const SpeechError&, const SpeechError&) = default;
};

using SpeechResult = Result<SpeechEnd, SpeechError>;

/// The path of `program`, looked for as the shell does; a path stays as it is. Returns nullopt if
/// there is no such program.
[[nodiscard]] std::optional<std::string> programPath(const std::string& program);

/// Text to speech: runs espeak-ng, or a program that is called like it, as a child process. Driven
/// by the event loop of its thread, which it does not hold up: it decodes the sound in small pieces
/// with pauses, and backpressure on the pipe makes the program wait.
///
/// The child inherits no other descriptor and no blocked or ignored signal. It is killed when the
/// sound is too long, after a timeout, and with the synthesizer.
class SpeechSynthesizer : public QObject
{
public:
    /// Takes the next samples of the sound, at the rate everything sounds at; never none.
    using Sink = std::function<void(std::span<const float>)>;
    using Done = std::function<void(const SpeechResult&)>;

    struct Settings
    {
        std::string program = "espeak-ng"; ///< a path, or a name to look for in PATH
        std::string voice = systemVoice(); ///< English is taken where the program has no such voice
        SpeechLimits limits;
        /// Off only for a program that has to do more than to speak, as tests have them.
        bool confined = true;
    };

    explicit SpeechSynthesizer(Settings settings);
    ~SpeechSynthesizer() override;
    Q_DISABLE_COPY_MOVE(SpeechSynthesizer)

    /// Starts to speak `text`, UTF-8. Gives its sound to `sink` while it is made, far faster than
    /// it plays, then calls `done` once; neither of them before this returns. Not to be called
    /// again before `done`.
    void start(std::string_view text, Sink sink, Done done);

    /// The voice it speaks with.
    [[nodiscard]] const std::string& voice() const { return m_settings.voice; }

private:
    void runProgram(const std::string& voice);
    void readOutput();
    void decode(std::span<const std::uint8_t> bytes);
    void flushResampler();
    void giveSamples();
    void finish(const SpeechResult& result);
    void end();
    [[nodiscard]] bool openOutput();
    [[nodiscard]] SpeechResult resultOfExit();

    /// The sound of one run of the program, on its way from bytes to samples.
    struct Decoding
    {
        WavStream wav;
        std::size_t taken = 0; ///< samples, silent ones too
        std::optional<SilenceTrimmer> trimmer;
        std::vector<float> samples;
        bool isAudible = false;
    };

    Settings m_settings;
    std::optional<Confinement> m_confinement;
    QString m_name; ///< of the program, for a person
    QProcess m_process;
    QTimer m_idleTimeout;
    QTimer m_totalTimeout;
    QTimer m_pause; ///< after each piece of its output
    /// A pipe of our own, because QProcess would read without a limit.
    FileDescriptor m_output;
    FileDescriptor m_childOutput;                    ///< the end for the child, while it is started
    std::optional<QSocketNotifier> m_outputNotifier; ///< enabled while there is nothing to read

    // Of the present text and the present run.
    std::string m_text;
    Sink m_sink;
    Done m_done;
    std::string m_voice;
    Decoding m_decoding;
    std::optional<Resampler> m_resampler; ///< kept, as its coefficients take a while to compute
    QByteArray m_complaint;
    std::optional<SpeechResult> m_result; ///< set as soon as it is known
    bool m_isVoiceRefused = false;
};

} // namespace wingbell
