#include "relay/speech/SpeechSynthesizer.h"

#include "relay/audio/AudioIo.h"
#include "relay/confinement/Confinement.h"
#include "relay/log/Messages.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace wingbell {

namespace {

/// In bytes: how much of what the program complains about is told.
constexpr qsizetype maxComplaint = 200;

/// In bytes: how much of the sound is decoded at once. At the usual 22050 Hz that is 0.4 s of sound
/// and about a millisecond of work.
constexpr std::size_t maxPiece = 16384;

/// After each piece. A thread that sleeps most of the time is scheduled at once when a request
/// comes, even on a busy computer; the sound is still made dozens of times faster than it plays.
constexpr std::chrono::milliseconds pauseTime{2};

/// How much of the silence before the first sound is kept, so that its onset is not cut.
constexpr std::size_t keptSilence(int rate)
{
    return static_cast<std::size_t>(rate) * 3 / 1000;
}

SpeechResult failed(Message reason, const QStringList& arguments = {})
{
    return failure(SpeechError{messageText(reason, arguments)});
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

/// `reason` is the system's; empty if there is no such program.
SpeechResult notStarted(const QString& name, const QString& reason)
{
    return reason.isEmpty() ? failed(Message::NotInstalled, {name})
                            : failed(Message::NotStarted, {name, reason});
}

/// Makes the child write to `output`, inherit nothing but its three pipes and confines it. Runs
/// between vfork and exec, in our memory and with any lock held by another thread: system calls
/// only.
void prepareChild(const Confinement* confinement, int output)
{
    (void)::dup2(output, STDOUT_FILENO);
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

SpeechSynthesizer::SpeechSynthesizer(Settings settings)
    : m_settings(std::move(settings))
    , m_name(QFileInfo(QString::fromStdString(m_settings.program)).fileName())
{
    if (m_settings.confined) {
        m_confinement = speechConfinement(programPath(m_settings.program).value_or(std::string()));
    }
    const Confinement* const confinement = m_confinement ? &*m_confinement : nullptr;
    m_process.setStandardOutputFile(QProcess::nullDevice());
    m_process.setChildProcessModifier(
        [this, confinement] { prepareChild(confinement, m_childOutput.get()); });

    for (QTimer* const timer : {&m_idleTimeout, &m_totalTimeout, &m_pause}) {
        timer->setSingleShot(true);
    }
    m_idleTimeout.setInterval(m_settings.limits.idle);
    m_totalTimeout.setInterval(m_settings.limits.total);
    for (const QTimer* const timer : {&m_idleTimeout, &m_totalTimeout}) {
        connect(timer, &QTimer::timeout, this, [this] { finish(failed(Message::Hung, {m_name})); });
    }
    m_pause.setInterval(pauseTime);
    m_pause.setTimerType(Qt::PreciseTimer);
    connect(&m_pause, &QTimer::timeout, this, [this] { readOutput(); });
    connect(&m_process, &QProcess::bytesWritten, this, [this] { m_idleTimeout.start(); });
    connect(&m_process, &QProcess::readyReadStandardError, this, [this] {
        m_complaint += m_process.readAllStandardError().left(maxComplaint - m_complaint.size());
    });
    connect(&m_process, &QProcess::finished, this, [this] {
        if (!m_pause.isActive()) {
            readOutput();
        }
    });
    connect(&m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            // "execve: Exec format error", of which a person needs the end.
            finish(notStarted(m_name, m_process.errorString().section(QStringLiteral(": "), -1)));
        }
    });
}

SpeechSynthesizer::~SpeechSynthesizer()
{
    m_process.disconnect();
    m_process.kill();
    m_process.waitForFinished(-1);
}

void SpeechSynthesizer::start(std::string_view text, Sink sink, Done done)
{
    m_text = speakableText(text);
    m_sink = std::move(sink);
    m_done = std::move(done);
    runProgram(m_settings.voice);
}

void SpeechSynthesizer::runProgram(const std::string& voice)
{
    m_voice = voice;
    m_decoding = {};
    if (m_resampler) {
        m_resampler->restart();
    }
    m_complaint.clear();
    m_result.reset();
    m_isVoiceRefused = false;
    if (m_text.empty()) {
        return finish(failed(Message::NothingToSay));
    }
    const QString path =
        QFile::decodeName(programPath(m_settings.program).value_or(std::string()).c_str());
    if (const int error = whyNotRunnable(path); error != 0) {
        return finish(notStarted(m_name, error == ENOENT ? QString() : qt_error_string(error)));
    }
    if (!openOutput()) {
        return finish(notStarted(m_name, qt_error_string(errno)));
    }
    m_idleTimeout.start();
    m_totalTimeout.start();
    m_process.start(
        path, {QStringLiteral("--stdin"), QStringLiteral("--stdout"), QStringLiteral("-b"),
               QStringLiteral("1"), QStringLiteral("-v"), QString::fromStdString(voice)});
    m_childOutput = FileDescriptor();
    m_process.write(m_text.data(), static_cast<qint64>(m_text.size()));
    m_process.closeWriteChannel();
}

bool SpeechSynthesizer::openOutput()
{
    std::array<int, 2> ends = {};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return false;
    }
    m_output = FileDescriptor(ends[0]);
    m_childOutput = FileDescriptor(ends[1]);
    (void)::fcntl(m_output.get(), F_SETFL, O_NONBLOCK);
    m_outputNotifier.emplace(m_output.get(), QSocketNotifier::Read);
    connect(&*m_outputNotifier, &QSocketNotifier::activated, this, [this] { readOutput(); });
    return true;
}

/// Reads one piece. It was the last one if nothing is left and the program is gone; another process
/// may still keep the pipe open.
void SpeechSynthesizer::readOutput()
{
    if (m_result) {
        return;
    }
    m_outputNotifier->setEnabled(false);
    std::array<std::uint8_t, maxPiece> piece;
    const ssize_t size = ::read(m_output.get(), piece.data(), piece.size());
    if (size > 0) {
        m_idleTimeout.start();
        m_pause.start();
        decode(std::span(piece).first(static_cast<std::size_t>(size)));
    } else if (m_process.state() == QProcess::NotRunning) {
        finish(resultOfExit());
    } else if (size < 0) {
        m_outputNotifier->setEnabled(true);
    }
}

void SpeechSynthesizer::decode(std::span<const std::uint8_t> bytes)
{
    std::vector<std::int16_t> samples;
    if (!m_decoding.wav.take(bytes, samples)) {
        return finish(failed(Message::NotWav, {m_name}));
    }
    if (samples.empty()) {
        return;
    }
    const int rate = *m_decoding.wav.rate();
    const auto limit = static_cast<std::size_t>(m_settings.limits.sound.count()) *
                       static_cast<std::size_t>(rate) / 1000;
    const bool isTooLong = m_decoding.taken + samples.size() > limit;
    if (isTooLong) {
        samples.resize(limit - m_decoding.taken);
    }
    m_decoding.taken += samples.size();
    if (!m_decoding.trimmer) {
        m_decoding.trimmer.emplace(keptSilence(rate));
    }
    std::vector<std::int16_t> audible;
    m_decoding.trimmer->trim(samples, audible);
    if (!audible.empty()) {
        if (!m_resampler || m_resampler->inputRate() != rate) {
            m_resampler.emplace(rate);
        }
        m_decoding.isAudible = true;
        m_resampler->process(asFloats(audible), m_decoding.samples);
        giveSamples();
    }
    if (isTooLong) {
        flushResampler();
        finish(m_decoding.isAudible ? SpeechEnd::Cut : failed(Message::NoAudio, {m_name}));
    }
}

void SpeechSynthesizer::flushResampler()
{
    if (m_decoding.isAudible) {
        m_resampler->finish(m_decoding.samples);
        giveSamples();
    }
}

void SpeechSynthesizer::giveSamples()
{
    if (!m_decoding.samples.empty()) {
        m_sink(m_decoding.samples);
        m_decoding.samples.clear();
    }
}

SpeechResult SpeechSynthesizer::resultOfExit()
{
    flushResampler();
    const QString code = QString::number(m_process.exitCode()); // of a crash the signal
    if (m_process.exitStatus() == QProcess::CrashExit) {
        return failed(Message::KilledBySignal, {m_name, code});
    }
    if (m_process.exitCode() != 0) {
        // So it does when there is no such voice.
        m_isVoiceRefused = !m_decoding.isAudible;
        const QString complaint = QString::fromUtf8(m_complaint).simplified();
        return complaint.isEmpty() ? failed(Message::EndedWithStatus, {m_name, code})
                                   : failed(Message::EndedWithComplaint, {m_name, code, complaint});
    }
    return m_decoding.isAudible ? SpeechEnd::Spoken : failed(Message::NoAudio, {m_name});
}

/// The first result stands. The rest is done by the event loop: this may be called by a signal of
/// the process, which cannot be waited for or started again there.
void SpeechSynthesizer::finish(const SpeechResult& result)
{
    if (!m_result) {
        m_result = result;
        m_idleTimeout.stop();
        m_totalTimeout.stop();
        QMetaObject::invokeMethod(
            this, [this] { end(); }, Qt::QueuedConnection);
    }
}

void SpeechSynthesizer::end()
{
    m_pause.stop();
    m_outputNotifier.reset();
    m_output = FileDescriptor();
    m_process.kill();
    m_process.waitForFinished(-1);
    if (m_isVoiceRefused && m_voice != englishVoice) {
        return runProgram(std::string(englishVoice));
    }
    if (m_result->has_value()) {
        m_settings.voice = m_voice;
    }
    m_sink = nullptr;
    const Done done = std::exchange(m_done, nullptr);
    done(*m_result);
}

} // namespace wingbell
