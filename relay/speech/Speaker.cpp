#include "relay/speech/Speaker.h"

#include "relay/confinement/ConfinementRules.h"
#include "relay/speech/LeadingSilence.h"
#include "relay/speech/SpeakableText.h"
#include "relay/speech/SpeechProcess.h"
#include "relay/speech/WakeUp.h"
#include "relay/speech/WavStream.h"

#include <QString>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace wingbell {

namespace {

using Clock = std::chrono::steady_clock;

/// In bytes: how much of what the program complains about is told.
constexpr std::size_t longestComplaint = 200;

/// Of espeak-ng's sound, in samples a second.
constexpr int usualRate = 22050;

/// How much of the silence before the first sound is kept, so that its onset is not cut.
constexpr std::size_t keptSilence(int rate)
{
    return static_cast<std::size_t>(rate) * 3 / 1000;
}

SpeechResult failed(const QString& reason)
{
    return {SpeechEnd::Failed, reason};
}

QString fileName(const std::string& path)
{
    const QString whole = QString::fromStdString(path);
    return whole.mid(whole.lastIndexOf(QLatin1Char('/')) + 1);
}

QString whyNotStarted(const QString& name, int error)
{
    if (error == ENOENT) {
        return QStringLiteral("%1 is not installed").arg(name);
    }
    return QStringLiteral("%1 cannot be started: %2").arg(name, qt_error_string(error));
}

QString noSound(const QString& name)
{
    return QStringLiteral("%1 made no sound of it").arg(name);
}

std::vector<float> asFloats(std::span<const std::int16_t> samples)
{
    std::vector<float> floats(samples.size());
    std::transform(samples.begin(), samples.end(), floats.begin(), [](std::int16_t sample) {
        return static_cast<float>(sample) / 32768;
    });
    return floats;
}

} // namespace

/// One call of the program: a text and a voice.
class Speaker::Run
{
public:
    Run(Speaker& speaker, const std::string& voice, std::string text, const Sink& sink)
        : m_speaker(speaker)
        , m_name(fileName(speaker.m_settings.program))
        , m_process(
              speaker.m_settings.program, {"--stdin", "--stdout", "-b", "1", "-v", voice},
              speaker.m_confinement ? &*speaker.m_confinement : nullptr)
        , m_text(std::move(text))
        , m_sink(sink)
    {
    }

    [[nodiscard]] SpeechResult untilItsEnd(const WakeUp& stop);

    /// True when it ended by itself, with a status that tells of a failure and before any sound: so
    /// it does when there is no such voice.
    [[nodiscard]] bool refused() const { return m_refused; }

private:
    using Buffer = std::array<std::uint8_t, 65536>;

    [[nodiscard]] Clock::duration patience() const;
    void wait(Clock::duration patience, const WakeUp& stop);
    void writeText();
    [[nodiscard]] bool readSound();
    void takeSound(std::span<const std::uint8_t> bytes);
    void giveSound(int rate);
    void finishSound();
    void give();
    void readComplaint();
    [[nodiscard]] SpeechResult resultOfEnd();
    [[nodiscard]] QString complaint() const;

    Speaker& m_speaker;
    QString m_name;
    SpeechProcess m_process;
    std::string m_text; ///< what is not yet written of it
    const Sink& m_sink;

    Clock::time_point m_began = Clock::now();
    Clock::time_point m_lastSign = m_began; ///< of life
    bool m_ended = false;
    bool m_refused = false;
    std::optional<SpeechResult> m_result; ///< once it is certain before the end

    Buffer m_buffer = {};
    WavStream m_wav;
    std::vector<std::int16_t> m_samples;
    std::size_t m_taken = 0; ///< samples, silent ones too
    std::optional<LeadingSilence> m_silence;
    std::vector<std::int16_t> m_audible;
    Resampler* m_resampler = nullptr; ///< set once something is audible
    std::vector<float> m_resampled;
    bool m_sounded = false;
    std::string m_complaint;
};

SpeechResult Speaker::Run::untilItsEnd(const WakeUp& stop)
{
    if (m_process.error() != 0) {
        return failed(whyNotStarted(m_name, m_process.error()));
    }
    while (!m_ended) {
        const Clock::duration left = patience();
        if (left <= Clock::duration::zero()) {
            return failed(QStringLiteral("%1 hung").arg(m_name));
        }
        wait(left, stop);
        if (m_result) {
            return *m_result;
        }
    }
    return resultOfEnd();
}

/// How much longer it may go on without a sign of life.
Clock::duration Speaker::Run::patience() const
{
    const SpeechLimits& limits = m_speaker.m_settings.limits;
    return std::min(m_lastSign + limits.silence, m_began + limits.total) - Clock::now();
}

void Speaker::Run::wait(Clock::duration patience, const WakeUp& stop)
{
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(patience);
    // Those that are closed are -1, which poll() leaves out.
    std::array<pollfd, 5> waiting = {{
        {stop.descriptor(), POLLIN, 0},
        {m_process.end(), POLLIN, 0},
        {m_process.input(), POLLOUT, 0},
        {m_process.output(), POLLIN, 0},
        {m_process.errorOutput(), POLLIN, 0},
    }};
    if (::poll(waiting.data(), waiting.size(), static_cast<int>(milliseconds.count())) <= 0) {
        return;
    }
    const auto& [stopped, ended, input, output, errorOutput] = waiting;
    if (stopped.revents != 0) {
        m_result = SpeechResult{SpeechEnd::Stopped, {}};
        return;
    }
    if (input.revents != 0) {
        writeText();
    }
    if (errorOutput.revents != 0) {
        readComplaint();
    }
    m_ended = ended.revents != 0;
    if (m_ended) {
        // All that is still in the pipe, but not until its end: that may be in somebody else's
        // hands.
        while (readSound()) {
        }
    } else if (output.revents != 0) {
        (void)readSound();
    }
}

void Speaker::Run::writeText()
{
    const ssize_t count = ::write(m_process.input(), m_text.data(), m_text.size());
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (count > 0) {
        m_lastSign = Clock::now();
        m_text.erase(0, static_cast<std::size_t>(count));
    }
    if (count < 0 || m_text.empty()) {
        m_process.closeInput();
    }
}

/// False when nothing more can or need be read at the moment.
bool Speaker::Run::readSound()
{
    const ssize_t count = ::read(m_process.output(), m_buffer.data(), m_buffer.size());
    if (count == 0) {
        m_process.closeOutput();
    }
    if (count <= 0) {
        return false;
    }
    m_lastSign = Clock::now();
    takeSound(std::span(m_buffer).first(static_cast<std::size_t>(count)));
    return !m_result;
}

void Speaker::Run::takeSound(std::span<const std::uint8_t> bytes)
{
    m_samples.clear();
    if (!m_wav.take(bytes, m_samples)) {
        m_result = failed(QStringLiteral("%1 gave %2").arg(m_name, m_wav.problem()));
        return;
    }
    if (m_samples.empty()) {
        return;
    }
    const int rate = *m_wav.rate();
    const auto most = static_cast<std::size_t>(m_speaker.m_settings.limits.sound.count()) *
                      static_cast<std::size_t>(rate) / 1000;
    const bool tooLong = m_taken + m_samples.size() > most;
    if (tooLong) {
        m_samples.resize(most - m_taken);
    }
    m_taken += m_samples.size();
    giveSound(rate);
    if (tooLong) {
        finishSound();
        m_result = m_sounded ? SpeechResult{SpeechEnd::Cut, {}} : failed(noSound(m_name));
    }
}

void Speaker::Run::giveSound(int rate)
{
    if (!m_silence) {
        m_silence.emplace(keptSilence(rate));
    }
    m_audible.clear();
    m_silence->pass(m_samples, m_audible);
    if (m_audible.empty()) {
        return;
    }
    if (m_resampler == nullptr) {
        m_resampler = &m_speaker.resamplerFor(rate);
    }
    m_resampler->process(asFloats(m_audible), m_resampled);
    give();
}

void Speaker::Run::finishSound()
{
    if (m_resampler != nullptr) {
        m_resampler->finish(m_resampled);
        give();
    }
}

void Speaker::Run::give()
{
    if (m_resampled.empty()) {
        return;
    }
    m_sounded = true;
    m_sink(m_resampled);
    m_resampled.clear();
}

void Speaker::Run::readComplaint()
{
    const ssize_t count = ::read(m_process.errorOutput(), m_buffer.data(), m_buffer.size());
    if (count == 0) {
        m_process.closeErrorOutput();
    }
    if (count <= 0) {
        return;
    }
    const std::size_t room = longestComplaint - m_complaint.size();
    const auto bytes = std::span(m_buffer).first(std::min(room, static_cast<std::size_t>(count)));
    m_complaint.append(bytes.begin(), bytes.end());
}

SpeechResult Speaker::Run::resultOfEnd()
{
    finishSound();
    const int status = m_process.waitForEnd();
    if (WIFSIGNALED(status)) {
        return failed(
            QStringLiteral("%1 was ended by signal %2").arg(m_name).arg(WTERMSIG(status)));
    }
    if (WEXITSTATUS(status) != 0) {
        m_refused = !m_sounded;
        return failed(QStringLiteral("%1 ended with status %2%3")
                          .arg(m_name, QString::number(WEXITSTATUS(status)), complaint()));
    }
    return m_sounded ? SpeechResult{} : failed(noSound(m_name));
}

QString Speaker::Run::complaint() const
{
    const QString said = QString::fromStdString(m_complaint).simplified();
    return said.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(said);
}

Speaker::Speaker(Settings settings)
    : m_settings(std::move(settings))
    , m_resampler(std::in_place, usualRate)
{
    if (m_settings.confined) {
        m_confinement = speechConfinement(programPath(m_settings.program).value_or(std::string()));
    }
}

SpeechResult Speaker::speak(std::string_view text, const Sink& sink, const WakeUp& stop)
{
    const std::string speakable = speakableText(text);
    if (speakable.empty()) {
        return failed(QStringLiteral("there is nothing to say in it"));
    }
    Run run(*this, m_settings.voice, speakable, sink);
    SpeechResult result = run.untilItsEnd(stop);
    if (!run.refused() || m_settings.voice == englishVoice) {
        return result;
    }
    Run inEnglish(*this, std::string(englishVoice), speakable, sink);
    result = inEnglish.untilItsEnd(stop);
    if (result.end == SpeechEnd::Spoken || result.end == SpeechEnd::Cut) {
        m_settings.voice = englishVoice;
    }
    return result;
}

Resampler& Speaker::resamplerFor(int rate)
{
    if (m_resampler->inputRate() != rate) {
        m_resampler.emplace(rate);
    }
    m_resampler->restart();
    return *m_resampler;
}

} // namespace wingbell
