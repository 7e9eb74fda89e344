#include "relay/speech/SpeechSynthesizer.h"
#include "relay/audio/AudioIo.h"
#include "tests/TestProgram.h"
#include "tests/fixtures/ChildProcesses.h"
#include "tests/relay/speech/SpeechProgram.h"
#include "tests/relay/speech/Tones.h"

#include <QDir>
#include <QEventLoop>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <fcntl.h>
#include <functional>

using namespace std::chrono_literals;
using namespace wingbell;

namespace {

/// Long enough for a program that is only slow, on a machine that is.
const SpeechLimits generous = {5min, 10min, 90s};
/// Short, for a program that does nothing anyhow.
const SpeechLimits brief = {100ms, 1min, 90s};

SpeechSynthesizer::Settings
with(const SpeechProgram& program, const SpeechLimits& limits = generous)
{
    return {program.path(), "en", limits, false};
}

SpeechSynthesizer::Settings espeak(const std::string& voice = "en")
{
    return {"espeak-ng", voice, generous};
}

SpeechResult failed(const QString& reason)
{
    return failure(SpeechError{reason});
}

qint64 openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
        .size();
}

double seconds(const std::vector<float>& samples)
{
    return static_cast<double>(samples.size()) / sampleRate;
}

/// Where something loud comes first; the size when nothing does.
std::size_t firstLoud(const std::vector<float>& samples)
{
    const auto found = std::find_if(
        samples.begin(), samples.end(), [](float sample) { return std::abs(sample) > 0.001F; });
    return static_cast<std::size_t>(found - samples.begin());
}

float loudest(const std::vector<float>& samples)
{
    float most = 0;
    for (const float sample : samples) {
        most = std::max(most, std::abs(sample));
    }
    return most;
}

} // namespace

class SpeechSynthesizerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { ::signal(SIGPIPE, SIG_IGN); }
    void init();
    void cleanup();

    void aToneComesOutAtOurRate();
    void theTextIsNeverOnTheCommandLine();
    void theProgramInheritsNeitherSignalsNorDescriptors();
    void aProgramThatCannotBeStartedIsToldWithItsReason();
    void aProgramThatFailsIsToldWithItsReason_data();
    void aProgramThatFailsIsToldWithItsReason();
    void aProgramThatHangsIsEnded_data();
    void aProgramThatHangsIsEnded();
    void aProgramThatNeverComesToItsEndIsEnded();
    void whatWasMadeBeforeAFailureIsGiven();
    void aProgramThatDoesNotReadMaySpeak();
    void aGrandchildThatKeepsThePipesOpenDelaysNothing();
    void aSoundWithoutEndIsCut();
    void silenceWithoutEndIsNoSound();
    void blankTextStartsNothing();
    void englishStandsInForAVoiceThatIsMissingFromThenOn();
    void aFailureInEnglishToldInEnglishTooKeepsTheVoice();
    void destroyingItEndsAProgramThatHangs();
    void destroyingItEndsAProgramThatIsStopped();
    void destroyingItEndsAProgramThatSpeaks();
    void nothingIsLeftOfASoundThatWasNotFinished();
    void theEventLoopGoesOnWhileThereIsMoreToRead();

    void espeakSpeaks();
    void espeakSpeaksGerman();
    void espeakStartsAtOnce();
    void espeakKnowsNoSuchVoice();
    void espeakTakesAnyText_data();
    void espeakTakesAnyText();

private:
    [[nodiscard]] SpeechResult
    speak(SpeechSynthesizer& synthesizer, const std::string& text = "Hello");
    /// Speaks until `isEnough`, then destroys the synthesizer.
    void speakUntil(SpeechSynthesizer::Settings settings, const std::function<bool()>& isEnough);

    std::vector<float> m_sound;
    qint64 m_descriptors = 0;
};

void SpeechSynthesizerTest::init()
{
    m_sound.clear();
    m_descriptors = openDescriptors();
}

void SpeechSynthesizerTest::cleanup()
{
    QVERIFY(childProcesses().isEmpty());
    QCOMPARE(openDescriptors(), m_descriptors);
}

SpeechResult SpeechSynthesizerTest::speak(SpeechSynthesizer& synthesizer, const std::string& text)
{
    m_sound.clear();
    SpeechResult result;
    QEventLoop loop;
    bool hasStarted = false;
    synthesizer.start(
        text,
        [this](std::span<const float> samples) {
            QVERIFY(!samples.empty());
            m_sound.insert(m_sound.end(), samples.begin(), samples.end());
        },
        [&](const SpeechResult& told) {
            QVERIFY2(hasStarted, "told before start() has returned");
            result = told;
            loop.quit();
        });
    hasStarted = true;
    loop.exec();
    return result;
}

void SpeechSynthesizerTest::speakUntil(
    SpeechSynthesizer::Settings settings, const std::function<bool()>& isEnough)
{
    m_sound.clear();
    SpeechSynthesizer synthesizer(std::move(settings));
    synthesizer.start(
        "Hello",
        [this](std::span<const float> samples) {
            m_sound.insert(m_sound.end(), samples.begin(), samples.end());
        },
        [](const SpeechResult&) { QFAIL("it was not to come to its end"); });
    QTRY_VERIFY_WITH_TIMEOUT(isEnough(), 60000);
}

void SpeechSynthesizerTest::aToneComesOutAtOurRate()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    QVERIFY(program.isThere());
    SpeechSynthesizer synthesizer(with(program));
    QCOMPARE(speak(synthesizer), SpeechResult());
    QCOMPARE(m_sound.size(), std::size_t{4800});
    const auto strength = strengthAt(1000, sampleRate, m_sound);
    QVERIFY2(std::abs(strength + 6.02) < 0.2, qPrintable(QString::number(strength)));
}

void SpeechSynthesizerTest::theTextIsNeverOnTheCommandLine()
{
    const SpeechProgram program(QStringLiteral("notes"));
    SpeechSynthesizer synthesizer(with(program));
    QCOMPARE(speak(synthesizer, "-v de; $(ls) \"x\"\n\x01Secret"), SpeechResult());
    const QStringList expected = {
        QStringLiteral("argument --stdin"),
        QStringLiteral("argument --stdout"),
        QStringLiteral("argument -b"),
        QStringLiteral("argument 1"),
        QStringLiteral("argument -v"),
        QStringLiteral("argument en"),
        QStringLiteral("text -v de; $(ls) \"x\"  Secret")};
    QCOMPARE(program.notes(), expected);
}

void SpeechSynthesizerTest::theProgramInheritsNeitherSignalsNorDescriptors()
{
    sigset_t blocked = {};
    sigset_t before = {};
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGINT);
    QCOMPARE(::sigprocmask(SIG_BLOCK, &blocked, &before), 0);
    const auto hangUpBefore = ::signal(SIGHUP, SIG_IGN);
    SpeechResult result;
    const SpeechProgram program(QStringLiteral("notes"));
    {
        const FileDescriptor handedOn(::open("/dev/null", O_RDONLY)); // without O_CLOEXEC
        QVERIFY(handedOn.isOpen());
        SpeechSynthesizer synthesizer(with(program));
        result = speak(synthesizer);
    }
    ::signal(SIGHUP, hangUpBefore);
    ::sigprocmask(SIG_SETMASK, &before, nullptr);
    QCOMPARE(result, SpeechResult());
    QCOMPARE(
        program.notes().filter(QRegularExpression(QStringLiteral("^(?!argument)"))),
        QStringList{QStringLiteral("text Hello")});
}

void SpeechSynthesizerTest::aProgramThatCannotBeStartedIsToldWithItsReason()
{
    const auto resultOf = [this](const char* program) {
        SpeechSynthesizer synthesizer({program, "en", generous, false});
        return speak(synthesizer);
    };
    QCOMPARE(resultOf("/nowhere/espeak-ng"), failed(QStringLiteral("espeak-ng is not installed")));
    QCOMPARE(
        resultOf("no-such-program"), failed(QStringLiteral("no-such-program is not installed")));
    QCOMPARE(resultOf("/tmp"), failed(QStringLiteral("tmp cannot be started: Permission denied")));
    QCOMPARE(
        resultOf("/etc/passwd"),
        failed(QStringLiteral("passwd cannot be started: Permission denied")));
}

void SpeechSynthesizerTest::aProgramThatFailsIsToldWithItsReason_data()
{
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* name, const char* reason) {
        QTest::newRow(name) << QString::fromUtf8(reason);
    };
    row("exits-at-once", "exits-at-once produced no audio");
    row("half-a-header", "half-a-header produced no audio");
    row("exits-midway", "exits-midway ended with status 3");
    row("knows-no-voice", "knows-no-voice ended with status 1 (Error: no data.)");
    row("dies", "dies was ended by signal 15");
    row("rubbish", "rubbish did not produce 16-bit mono WAVE audio");
}

void SpeechSynthesizerTest::aProgramThatFailsIsToldWithItsReason()
{
    QFETCH(QString, reason);
    const SpeechProgram program(QString::fromUtf8(QTest::currentDataTag()));
    QVERIFY(program.isThere());
    SpeechSynthesizer synthesizer(with(program));
    QCOMPARE(speak(synthesizer), failed(reason));
    QCOMPARE(program.calls(), QStringList{QStringLiteral("en")});
}

void SpeechSynthesizerTest::aProgramThatHangsIsEnded_data()
{
    QTest::addColumn<QString>("name");
    for (const char* const name :
         {"hangs", "hangs-midway", "reads-nothing", "closes-its-output", "complains-for-ever"}) {
        QTest::newRow(name) << QString::fromUtf8(name);
    }
}

void SpeechSynthesizerTest::aProgramThatHangsIsEnded()
{
    QFETCH(QString, name);
    const SpeechProgram program(name);
    QVERIFY(program.isThere());
    SpeechSynthesizer synthesizer(with(program, brief));
    QCOMPARE(speak(synthesizer), failed(name + QStringLiteral(" stopped responding")));
    QVERIFY(m_sound.size() <= 4800);
}

void SpeechSynthesizerTest::aProgramThatNeverComesToItsEndIsEnded()
{
    // It shows signs of life for ever: only the limit for all of it ends it.
    const SpeechProgram program(QStringLiteral("endless-silence"));
    SpeechSynthesizer synthesizer(with(program, {1min, 200ms, 24h}));
    QCOMPARE(speak(synthesizer), failed(QStringLiteral("endless-silence stopped responding")));
}

void SpeechSynthesizerTest::whatWasMadeBeforeAFailureIsGiven()
{
    const SpeechProgram program(QStringLiteral("exits-midway"));
    SpeechSynthesizer synthesizer(with(program));
    QVERIFY(!speak(synthesizer));
    QCOMPARE(m_sound.size(), std::size_t{4800});
}

void SpeechSynthesizerTest::aProgramThatDoesNotReadMaySpeak()
{
    const SpeechProgram program(QStringLiteral("closes-its-input"));
    SpeechSynthesizer synthesizer(with(program));
    for (int round = 0; round < 20; ++round) {
        QCOMPARE(speak(synthesizer, std::string(4000, 'x')), SpeechResult());
        QCOMPARE(m_sound.size(), std::size_t{4800});
    }
}

void SpeechSynthesizerTest::aGrandchildThatKeepsThePipesOpenDelaysNothing()
{
    const SpeechProgram program(QStringLiteral("leaves-a-grandchild"));
    SpeechSynthesizer synthesizer(with(program, {24h, 24h, 90s}));
    QCOMPARE(speak(synthesizer), SpeechResult());
    QCOMPARE(m_sound.size(), std::size_t{4800});
}

void SpeechSynthesizerTest::aSoundWithoutEndIsCut()
{
    const SpeechProgram program(QStringLiteral("endless"));
    SpeechSynthesizer synthesizer(with(program, {5min, 10min, 2500ms}));
    QCOMPARE(speak(synthesizer), SpeechResult(SpeechEnd::Cut));
    QCOMPARE(m_sound.size(), std::size_t{120000});
    SpeechSynthesizer ordinary(with(program));
    QCOMPARE(speak(ordinary), SpeechResult(SpeechEnd::Cut));
    QCOMPARE(m_sound.size(), std::size_t{90} * sampleRate);
}

void SpeechSynthesizerTest::silenceWithoutEndIsNoSound()
{
    const SpeechProgram program(QStringLiteral("endless-silence"));
    SpeechSynthesizer synthesizer(with(program));
    QCOMPARE(speak(synthesizer), failed(QStringLiteral("endless-silence produced no audio")));
    QVERIFY(m_sound.empty());
}

void SpeechSynthesizerTest::blankTextStartsNothing()
{
    const SpeechProgram program(QStringLiteral("speaks"));
    SpeechSynthesizer synthesizer(with(program));
    for (const char* const text : {"", " ", "\n", "\x01", "[]"}) {
        QCOMPARE(speak(synthesizer, text), failed(QStringLiteral("there is nothing to say in it")));
    }
    QVERIFY(program.calls().isEmpty());
}

void SpeechSynthesizerTest::englishStandsInForAVoiceThatIsMissingFromThenOn()
{
    const SpeechProgram program(QStringLiteral("knows-english-only"));
    SpeechSynthesizer synthesizer({program.path(), "xx", generous, false});
    QCOMPARE(synthesizer.voice(), std::string("xx"));
    QCOMPARE(speak(synthesizer), SpeechResult());
    QCOMPARE(m_sound.size(), std::size_t{4800});
    QCOMPARE(synthesizer.voice(), std::string("en"));
    QCOMPARE(speak(synthesizer), SpeechResult());
    const QStringList calls = {QStringLiteral("xx"), QStringLiteral("en"), QStringLiteral("en")};
    QCOMPARE(program.calls(), calls);
}

void SpeechSynthesizerTest::aFailureInEnglishToldInEnglishTooKeepsTheVoice()
{
    const SpeechProgram program(QStringLiteral("knows-no-voice"));
    SpeechSynthesizer synthesizer({program.path(), "de", generous, false});
    QCOMPARE(
        speak(synthesizer),
        failed(QStringLiteral("knows-no-voice ended with status 1 (Error: no data.)")));
    QCOMPARE(synthesizer.voice(), std::string("de"));
}

// What these leave behind, cleanup() looks for.

void SpeechSynthesizerTest::destroyingItEndsAProgramThatHangs()
{
    const SpeechProgram program(QStringLiteral("hangs"));
    speakUntil(with(program, {24h, 24h, 90s}), [&program] { return !program.calls().isEmpty(); });
}

void SpeechSynthesizerTest::destroyingItEndsAProgramThatIsStopped()
{
    const SpeechProgram program(QStringLiteral("hangs-midway"));
    speakUntil(with(program, {24h, 24h, 90s}), [this] {
        return !m_sound.empty() && ::kill(childProcesses().value(0), SIGSTOP) == 0;
    });
}

void SpeechSynthesizerTest::destroyingItEndsAProgramThatSpeaks()
{
    const SpeechProgram program(QStringLiteral("endless"));
    speakUntil(with(program, {24h, 24h, 24h}), [this] { return !m_sound.empty(); });
}

void SpeechSynthesizerTest::nothingIsLeftOfASoundThatWasNotFinished()
{
    const SpeechProgram program(QStringLiteral("endless"));
    SpeechSynthesizer synthesizer(with(program, {5min, 10min, 100ms}));
    QCOMPARE(speak(synthesizer), SpeechResult(SpeechEnd::Cut));
    const std::vector<float> sound = m_sound;
    QCOMPARE(sound.size(), std::size_t{4800});
    QCOMPARE(speak(synthesizer), SpeechResult(SpeechEnd::Cut));
    QVERIFY(m_sound == sound);
}

void SpeechSynthesizerTest::theEventLoopGoesOnWhileThereIsMoreToRead()
{
    // It writes as fast as it can: all that has come must not be decoded at once.
    const SpeechProgram program(QStringLiteral("endless"));
    SpeechSynthesizer synthesizer(with(program));
    QTimer others;
    std::size_t soundBefore = 0;
    std::size_t most = 0;
    QObject::connect(&others, &QTimer::timeout, this, [&] {
        most = std::max(most, m_sound.size() - soundBefore);
        soundBefore = m_sound.size();
    });
    others.start(0);
    QCOMPARE(speak(synthesizer), SpeechResult(SpeechEnd::Cut));
    QVERIFY2(most < std::size_t{sampleRate} / 2, qPrintable(QString::number(most)));
}

void SpeechSynthesizerTest::espeakSpeaks()
{
    SpeechSynthesizer synthesizer(espeak());
    QCOMPARE(speak(synthesizer, "Places, please."), SpeechResult());
    QVERIFY2(
        seconds(m_sound) > 0.8 && seconds(m_sound) < 3,
        qPrintable(QString::number(seconds(m_sound))));
    QVERIFY(loudest(m_sound) > 0.1F);
    const auto once = m_sound.size();
    QCOMPARE(speak(synthesizer, "Places, please. Places, please. Places, please."), SpeechResult());
    QVERIFY(m_sound.size() > 2 * once && m_sound.size() < 4 * once);
}

void SpeechSynthesizerTest::espeakSpeaksGerman()
{
    SpeechSynthesizer english(espeak());
    SpeechSynthesizer german(espeak("de"));
    const std::string text = "Vorhang auf, bitte alle auf die B\xC3\xBChne.";
    QCOMPARE(speak(english, text), SpeechResult());
    const std::vector<float> inEnglish = m_sound;
    QCOMPARE(speak(german, text), SpeechResult());
    QVERIFY(m_sound != inEnglish);
    QCOMPARE(german.voice(), std::string("de"));
}

void SpeechSynthesizerTest::espeakStartsAtOnce()
{
    SpeechSynthesizer synthesizer(espeak());
    QCOMPARE(speak(synthesizer, "Places, please."), SpeechResult());
    QVERIFY2(firstLoud(m_sound) < 480, qPrintable(QString::number(firstLoud(m_sound))));
}

void SpeechSynthesizerTest::espeakKnowsNoSuchVoice()
{
    SpeechSynthesizer synthesizer(espeak("xx"));
    QCOMPARE(speak(synthesizer, "Places, please."), SpeechResult());
    QVERIFY(loudest(m_sound) > 0.1F);
    QCOMPARE(synthesizer.voice(), std::string("en"));
}

void SpeechSynthesizerTest::espeakTakesAnyText_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<double>("minimum");
    QTest::addColumn<double>("maximum");
    const auto row = [](const char* name, const QByteArray& text, double minimum, double maximum) {
        QTest::newRow(name) << text << minimum << maximum;
    };
    row("quotes", R"("Go" on 'cue' `five`)", 0.5, 5);
    row("a dash first", "-v de", 0.3, 3);
    row("an option first", "--help", 0.3, 3);
    row("a line feed", "Stand by\nGo", 0.5, 4);
    row("a line feed first", "\n\nGo", 0.2, 3);
    row("emoji", "Curtain \xF0\x9F\x8E\xAD up", 0.5, 6);
    row("markup", "<speak><break time=\"30s\"/>Go</speak>", 0.5, 15);
    row("phonemes", "[[h@l'oU]] Go", 0.2, 8);
    row("a command",
        "Go \x01"
        "300S \x01"
        "30000Pnow",
        0.3, 6);
    row("shell", "$(reboot); `reboot` | reboot &", 0.5, 10);
    row("no UTF-8", "Go \xFF\xFE now", 0.3, 4);
    row("a zero", QByteArray("Go\0now", 6), 0.3, 3);
    row("Greek", "\xCE\xB3\xCE\xB5\xCE\xB9\xCE\xB1", 0.2, 6);
    row("500 characters", QByteArray("abcd ").repeated(100), 10, 80);
    row("500 emoji", QByteArray("\xF0\x9F\x98\x80").repeated(500), 10, 90);
    row("500 digits", QByteArray("9").repeated(500), 10, 90);
    row("500 capitals", QByteArray("W").repeated(500), 5, 90);
    row("500 exclamation marks", "Go" + QByteArray("!").repeated(498), 0.1, 90);
}

void SpeechSynthesizerTest::espeakTakesAnyText()
{
    QFETCH(QByteArray, text);
    QFETCH(double, minimum);
    QFETCH(double, maximum);
    SpeechSynthesizer synthesizer(espeak());
    const SpeechResult result = speak(synthesizer, text.toStdString());
    QVERIFY2(result, qPrintable(result ? QString() : result.error().reason));
    QVERIFY2(
        seconds(m_sound) >= minimum && seconds(m_sound) <= maximum,
        qPrintable(QString::number(seconds(m_sound))));
    QVERIFY(loudest(m_sound) > 0.05F);
}

WINGBELL_GUILESS_TEST(SpeechSynthesizerTest)
#include "SpeechSynthesizerTest.moc"
