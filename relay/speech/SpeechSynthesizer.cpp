#include "relay/speech/SpeechSynthesizer.h"

#include "relay/confinement/ConfinementRules.h"
#include "relay/log/Messages.h"
#include "relay/speech/LeadingSilence.h"
#include "relay/speech/Resampler.h"
#include "relay/speech/SpeakableText.h"
#include "relay/speech/WakeUp.h"
#include "relay/speech/WavStream.h"

#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <QTimer>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <linux/close_range.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace wingbell {

namespace {

/// In bytes: how much of what the program complains about is told.
constexpr qsizetype maxComplaint = 200;

/// In bytes: how much of the sound is resampled before it is given. A full pipe would delay the
/// first sound.
constexpr std::size_t maxPiece = 8192;

/// How much of the silence before the first sound is kept, so that its onset is not cut.
constexpr std::size_t keptSilence(int rate)
{
    return static_cast<std::size_t>(rate) * 3 / 1000;
}

SpeechResult failed(Message reason, const QStringList& arguments = {})
{
    return {SpeechEnd::Failed, messageText(reason, arguments)};
}

std::vector<float> asFloats(std::span<const std::int16_t> samples)
{
    std::vector<float> floats(samples.size());
    std::transform(samples.begin(), samples.end(), floats.begin(), [](std::int16_t sample) {
        return static_cast<float>(sample) / 32768;
    });
    return floats;
}

/// The system's error number if `path` cannot be run. Asked before a start, because QProcess of Qt
/// 6.4 keeps a descriptor open for ever after each one that fails.
int whyNotRunnable(const QString& path)
{
    if (::access(QFile::encodeName(path).constData(), X_OK) != 0) {
        return errno;
    }
    return QFileInfo(path).isFile() ? 0 : EACCES;
}

/// Makes the child inherit nothing but its three pipes and confines it. Runs between vfork and
/// exec, in our memory and with any lock held by another thread: system calls only.
void prepareChild(const Confinement* confinement)
{
    // All zero is SIG_DFL, without flags and mask, on every kind of machine.
    constexpr std::array<unsigned long, 8> usual = {};
    constexpr std::size_t maskBytes = 8;
    for (int number = 1; number <= SIGRTMAX; ++number) {
        // Some cannot be changed, and need not be.
        (void)::syscall(SYS_rt_sigaction, number, usual.data(), nullptr, maskBytes);
    }
    sigset_t none = {};
    sigemptyset(&none);
    (void)::sigprocmask(SIG_SETMASK, &none, nullptr);
    (void)::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    if (confinement != nullptr && confinement->enter() != 0) {
        const std::string_view complaint =
            messageRows()[static_cast<std::size_t>(Message::NotConfinable)].text;
        (void)!::write(STDERR_FILENO, complaint.data(), complaint.size());
        ::_exit(127);
    }
}

} // namespace

std::optional<std::string> programPath(const std::string& program)
{
    if (program.find('/') != std::string::npos) {
        return program;
    }
    const QString found = QStandardPaths::findExecutable(QString::fromStdString(program));
    return found.isEmpty() ? std::nullopt : std::optional(QFile::encodeName(found).toStdString());
}

/// One call of the program: a text and a voice. Driven by the event loop of its thread.
class SpeechSynthesizer::Run
{
public:
    /// Called once, with the result.
    using Done = std::function<void(const SpeechResult& result)>;

    Run(SpeechSynthesizer& synthesizer, const std::string& voice, const Sink& sink, Done done);
    /// Kills the program if it still runs.
    ~Run();
    Q_DISABLE_COPY_MOVE(Run)

    /// Starts the program and gives it `text`.
    void start(const std::string& text);

    /// True when it ended by itself, with a status that tells of a failure and before any sound: so
    /// it does when there is no such voice.
    [[nodiscard]] bool refused() const { return m_refused; }

private:
    void finish(const SpeechResult& result);
    void noteSignOfLife() { m_silenceLimit.start(); }
    void tellNotStarted(const QString& reason);
    void readSound();
    void takeSound(std::span<const std::uint8_t> bytes);
    void giveSound(int rate);
    void finishSound();
    void give();
    void readComplaint();
    [[nodiscard]] SpeechResult resultOfEnd();

    SpeechSynthesizer& m_synthesizer;
    QString m_path;
    QString m_name;
    const Sink& m_sink;
    Done m_done;
    QProcess m_process;
    QTimer m_silenceLimit;
    QTimer m_totalLimit;
    bool m_isDone = false;
    bool m_refused = false;

    WavStream m_wav;
    std::vector<std::int16_t> m_samples;
    std::size_t m_taken = 0; ///< samples, silent ones too
    std::optional<LeadingSilence> m_silence;
    std::vector<std::int16_t> m_audible;
    std::optional<Resampler> m_resampler; ///< once something is audible
    std::vector<float> m_resampled;
    bool m_sounded = false;
    QByteArray m_complaint;
};

SpeechSynthesizer::Run::Run(
    SpeechSynthesizer& synthesizer, const std::string& voice, const Sink& sink, Done done)
    : m_synthesizer(synthesizer)
    , m_path(QFile::decodeName(programPath(synthesizer.m_settings.program).value_or("").c_str()))
    , m_name(QFileInfo(QString::fromStdString(synthesizer.m_settings.program)).fileName())
    , m_sink(sink)
    , m_done(std::move(done))
{
    const Settings& settings = m_synthesizer.m_settings;
    m_process.setProgram(m_path);
    m_process.setArguments(
        {QStringLiteral("--stdin"), QStringLiteral("--stdout"), QStringLiteral("-b"),
         QStringLiteral("1"), QStringLiteral("-v"), QString::fromStdString(voice)});
    const Confinement* const confinement =
        m_synthesizer.m_confinement ? &*m_synthesizer.m_confinement : nullptr;
    m_process.setChildProcessModifier([confinement] { prepareChild(confinement); });

    const auto hung = [this] {
        finish(failed(Message::Hung, {m_name}));
    };
    for (QTimer* const timer : {&m_silenceLimit, &m_totalLimit}) {
        timer->setSingleShot(true);
        QObject::connect(timer, &QTimer::timeout, &m_process, hung);
    }
    m_silenceLimit.setInterval(settings.limits.silence);
    m_totalLimit.setInterval(settings.limits.total);

    QObject::connect(&m_process, &QProcess::bytesWritten, &m_process, [this] { noteSignOfLife(); });
    QObject::connect(
        &m_process, &QProcess::readyReadStandardOutput, &m_process, [this] { readSound(); });
    QObject::connect(
        &m_process, &QProcess::readyReadStandardError, &m_process, [this] { readComplaint(); });
    QObject::connect(&m_process, &QProcess::finished, &m_process, [this] {
        if (!m_isDone) {
            finish(resultOfEnd());
        }
    });
    QObject::connect(
        &m_process, &QProcess::errorOccurred, &m_process, [this](QProcess::ProcessError error) {
            if (error == QProcess::FailedToStart) {
                // "execve: Exec format error", of which a person needs the end.
                tellNotStarted(m_process.errorString().section(QStringLiteral(": "), -1));
            }
        });
}

SpeechSynthesizer::Run::~Run()
{
    m_process.disconnect();
    m_process.kill();
    m_process.waitForFinished(-1);
}

void SpeechSynthesizer::Run::start(const std::string& text)
{
    if (const int error = whyNotRunnable(m_path); error != 0) {
        return tellNotStarted(error == ENOENT ? QString() : qt_error_string(error));
    }
    m_silenceLimit.start();
    m_totalLimit.start();
    m_process.start();
    m_process.write(text.data(), static_cast<qint64>(text.size()));
    m_process.closeWriteChannel();
}

void SpeechSynthesizer::Run::finish(const SpeechResult& result)
{
    if (!std::exchange(m_isDone, true)) {
        m_done(result);
    }
}

/// `reason` is the system's; empty if there is no such program.
void SpeechSynthesizer::Run::tellNotStarted(const QString& reason)
{
    finish(
        reason.isEmpty() ? failed(Message::NotInstalled, {m_name})
                         : failed(Message::NotStarted, {m_name, reason}));
}

void SpeechSynthesizer::Run::readSound()
{
    const QByteArray bytes = m_process.readAllStandardOutput();
    if (m_isDone || bytes.isEmpty()) {
        return;
    }
    noteSignOfLife();
    const std::span all(
        reinterpret_cast<const std::uint8_t*>(bytes.constData()),
        static_cast<std::size_t>(bytes.size()));
    for (std::size_t begin = 0; begin < all.size() && !m_isDone; begin += maxPiece) {
        takeSound(all.subspan(begin, std::min(maxPiece, all.size() - begin)));
    }
}

void SpeechSynthesizer::Run::takeSound(std::span<const std::uint8_t> bytes)
{
    m_samples.clear();
    if (!m_wav.take(bytes, m_samples)) {
        return finish(failed(Message::NotWav, {m_name}));
    }
    if (m_samples.empty()) {
        return;
    }
    const int rate = *m_wav.rate();
    const auto most = static_cast<std::size_t>(m_synthesizer.m_settings.limits.sound.count()) *
                      static_cast<std::size_t>(rate) / 1000;
    const bool tooLong = m_taken + m_samples.size() > most;
    if (tooLong) {
        m_samples.resize(most - m_taken);
    }
    m_taken += m_samples.size();
    giveSound(rate);
    if (tooLong) {
        finishSound();
        finish(m_sounded ? SpeechResult{SpeechEnd::Cut, {}} : failed(Message::NoAudio, {m_name}));
    }
}

void SpeechSynthesizer::Run::giveSound(int rate)
{
    if (!m_silence) {
        m_silence.emplace(keptSilence(rate));
    }
    m_audible.clear();
    m_silence->pass(m_samples, m_audible);
    if (m_audible.empty()) {
        return;
    }
    if (!m_resampler) {
        m_resampler.emplace(rate);
    }
    m_resampler->process(asFloats(m_audible), m_resampled);
    give();
}

void SpeechSynthesizer::Run::finishSound()
{
    if (m_resampler) {
        m_resampler->finish(m_resampled);
        give();
    }
}

void SpeechSynthesizer::Run::give()
{
    if (m_resampled.empty()) {
        return;
    }
    m_sounded = true;
    m_sink(m_resampled);
    m_resampled.clear();
}

void SpeechSynthesizer::Run::readComplaint()
{
    const QByteArray bytes = m_process.readAllStandardError();
    m_complaint += bytes.left(maxComplaint - m_complaint.size());
}

SpeechResult SpeechSynthesizer::Run::resultOfEnd()
{
    finishSound();
    const QString code = QString::number(m_process.exitCode()); // of a crash the signal
    if (m_process.exitStatus() == QProcess::CrashExit) {
        return failed(Message::KilledBySignal, {m_name, code});
    }
    if (m_process.exitCode() != 0) {
        m_refused = !m_sounded;
        const QString complaint = QString::fromUtf8(m_complaint).simplified();
        return complaint.isEmpty() ? failed(Message::EndedWithStatus, {m_name, code})
                                   : failed(Message::EndedWithComplaint, {m_name, code, complaint});
    }
    return m_sounded ? SpeechResult{} : failed(Message::NoAudio, {m_name});
}

SpeechSynthesizer::SpeechSynthesizer(Settings settings)
    : m_settings(std::move(settings))
{
    if (m_settings.confined) {
        m_confinement = speechConfinement(programPath(m_settings.program).value_or(std::string()));
    }
}

SpeechResult SpeechSynthesizer::speak(std::string_view text, const Sink& sink, const WakeUp& stop)
{
    const std::string speakable = speakableText(text);
    if (speakable.empty()) {
        return failed(Message::NothingToSay);
    }
    const Attempt first = attempt(m_settings.voice, speakable, sink, stop);
    if (!first.refused || m_settings.voice == englishVoice) {
        return first.result;
    }
    const Attempt inEnglish = attempt(std::string(englishVoice), speakable, sink, stop);
    if (inEnglish.result.end == SpeechEnd::Spoken || inEnglish.result.end == SpeechEnd::Cut) {
        m_settings.voice = englishVoice;
    }
    return inEnglish.result;
}

SpeechSynthesizer::Attempt SpeechSynthesizer::attempt(
    const std::string& voice, const std::string& text, const Sink& sink, const WakeUp& stop)
{
    std::optional<SpeechResult> result;
    QEventLoop loop;
    const auto end = [&](const SpeechResult& told) {
        if (!result) {
            result = told;
        }
        loop.quit();
    };
    const QSocketNotifier stopping(stop.descriptor(), QSocketNotifier::Read);
    QObject::connect(&stopping, &QSocketNotifier::activated, &loop, [&] {
        end({SpeechEnd::Stopped, {}});
    });
    Run run(*this, voice, sink, end);
    run.start(text);
    if (!result) {
        loop.exec();
    }
    return {*result, run.refused()};
}

} // namespace wingbell
