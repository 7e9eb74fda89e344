#include "relay/speech/WavStream.h"
#include "tests/TestProgram.h"

#include <QByteArray>
#include <QTest>

#include <algorithm>
#include <random>

using namespace wingbell;

using Samples = std::vector<std::int16_t>;

namespace {

QByteArray littleEndian(quint32 number, int bytes)
{
    QByteArray all;
    for (int byte = 0; byte < bytes; ++byte) {
        all.append(static_cast<char>(number >> (8 * byte) & 0xFFU));
    }
    return all;
}

QByteArray chunk(const QByteArray& tag, const QByteArray& content)
{
    return tag + littleEndian(static_cast<quint32>(content.size()), 4) + content;
}

QByteArray formatContent(quint32 kind, quint32 channels, quint32 rate, quint32 bits)
{
    return littleEndian(kind, 2) + littleEndian(channels, 2) + littleEndian(rate, 4) +
           littleEndian(rate * channels * bits / 8, 4) + littleEndian(channels * bits / 8, 2) +
           littleEndian(bits, 2);
}

/// The beginning as espeak-ng writes it to a pipe: its sizes are the most that could come.
const QByteArray riff = QByteArray("RIFF") + littleEndian(0x7FFFF024, 4) + "WAVE";
const QByteArray data = QByteArray("data") + littleEndian(0x7FFFF000, 4);

QByteArray header(quint32 rate = 22050)
{
    return riff + chunk("fmt ", formatContent(1, 1, rate, 16)) + data;
}

QByteArray bytesOf(const Samples& samples)
{
    QByteArray bytes;
    for (const std::int16_t sample : samples) {
        bytes += littleEndian(static_cast<std::uint16_t>(sample), 2);
    }
    return bytes;
}

bool take(WavStream& wav, const QByteArray& bytes, Samples& samples)
{
    const auto* const begin = reinterpret_cast<const std::uint8_t*>(bytes.constData());
    return wav.take({begin, static_cast<std::size_t>(bytes.size())}, samples);
}

const Samples someSamples = {0, 1, -1, 256, -256, 32767, -32768, 4711};

} // namespace

class WavStreamTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void itReadsTheRateAndTheSamples_data();
    void itReadsTheRateAndTheSamples();
    void piecesMakeNoDifference();
    void sizesAreNotBelieved_data();
    void sizesAreNotBelieved();
    void halfASampleAtTheEndIsLeftOut();
    void anythingElseIsRefused_data();
    void anythingElseIsRefused();
    void onceRefusedItTakesNothing();
    void rubbishNeverHarms();
};

void WavStreamTest::itReadsTheRateAndTheSamples_data()
{
    QTest::addColumn<int>("rate");
    for (const int rate : {8000, 16000, 22050, 44100, 48000}) {
        QTest::addRow("%d", rate) << rate;
    }
}

void WavStreamTest::itReadsTheRateAndTheSamples()
{
    QFETCH(int, rate);
    WavStream wav;
    Samples samples;
    QVERIFY(!wav.rate());
    QVERIFY(take(wav, header(static_cast<quint32>(rate)) + bytesOf(someSamples), samples));
    QCOMPARE(wav.rate().value_or(0), rate);
    QVERIFY(samples == someSamples);
}

void WavStreamTest::piecesMakeNoDifference()
{
    const QByteArray all = header() + bytesOf(someSamples);
    for (int length = 1; length < all.size(); ++length) {
        WavStream wav;
        Samples samples;
        for (int begin = 0; begin < all.size(); begin += length) {
            QVERIFY(take(wav, all.mid(begin, length), samples));
            QVERIFY(take(wav, QByteArray(), samples));
        }
        QCOMPARE(wav.rate().value_or(0), 22050);
        QVERIFY(samples == someSamples);
    }
}

void WavStreamTest::sizesAreNotBelieved_data()
{
    QTest::addColumn<quint32>("size");
    for (const quint32 size : {0U, 1U, 2U, 16U, 0x7FFFF000U, 0xFFFFFFFFU}) {
        QTest::addRow("%u", size) << size;
    }
}

void WavStreamTest::sizesAreNotBelieved()
{
    QFETCH(quint32, size);
    WavStream wav;
    Samples samples;
    QVERIFY(take(
        wav,
        QByteArray("RIFF") + littleEndian(size, 4) + "WAVE" +
            chunk("fmt ", formatContent(1, 1, 22050, 16)) + "data" + littleEndian(size, 4) +
            bytesOf(someSamples),
        samples));
    QVERIFY(samples == someSamples);
}

void WavStreamTest::halfASampleAtTheEndIsLeftOut()
{
    WavStream wav;
    Samples samples;
    QVERIFY(take(wav, header() + bytesOf(someSamples) + 'x', samples));
    QVERIFY(samples == someSamples);
}

void WavStreamTest::anythingElseIsRefused_data()
{
    QTest::addColumn<QByteArray>("bytes");
    const auto format = [](quint32 kind, quint32 channels, quint32 rate,
                           quint32 bits) -> QByteArray {
        return riff + chunk("fmt ", formatContent(kind, channels, rate, bits)) + data;
    };
    QTest::newRow("text") << QByteArray(
        "This is no sound at all, though it is as long as a header.");
    QTest::newRow("zeros") << QByteArray(100, '\0');
    QTest::newRow("another RIFF file") << header().replace("WAVE", "AVI ");
    QTest::newRow("big-endian") << header().replace("RIFF", "RIFX");
    QTest::newRow("stereo") << format(1, 2, 22050, 16);
    QTest::newRow("no channel") << format(1, 0, 22050, 16);
    QTest::newRow("8 bits") << format(1, 1, 22050, 8);
    QTest::newRow("24 bits") << format(1, 1, 22050, 24);
    QTest::newRow("floats") << format(3, 1, 22050, 16);
    QTest::newRow("too slow") << format(1, 1, 7999, 16);
    QTest::newRow("too fast") << format(1, 1, 48001, 16);
    QTest::newRow("no rate") << format(1, 1, 0, 16);
    QTest::newRow("an unusual rate") << format(1, 1, 44099, 16);
    QTest::newRow("a rate beyond all") << format(1, 1, 0xFFFFFFFF, 16);
    QTest::newRow("no format") << riff + data + QByteArray(44, '\0');
    QTest::newRow("a longer format")
        << riff + chunk("fmt ", formatContent(1, 1, 22050, 16) + QByteArray(2, '\0')) + data;
    QTest::newRow("another chunk first") << riff + chunk("LIST", QByteArray(36, 'x')) + data;
}

void WavStreamTest::anythingElseIsRefused()
{
    QFETCH(QByteArray, bytes);
    WavStream wav;
    Samples samples;
    QVERIFY(!take(wav, bytes + bytesOf(someSamples), samples));
    QVERIFY(samples.empty());
    QVERIFY(!wav.rate());
}

void WavStreamTest::onceRefusedItTakesNothing()
{
    WavStream wav;
    Samples samples;
    QVERIFY(!take(wav, QByteArray(44, 'x'), samples));
    QVERIFY(!take(wav, header() + bytesOf(someSamples), samples));
    QVERIFY(samples.empty());
}

void WavStreamTest::rubbishNeverHarms()
{
    std::mt19937 random(3);
    std::uniform_int_distribution<int> byte(0, 255);
    const QByteArray good = header() + bytesOf(someSamples);
    for (int round = 0; round < 5000; ++round) {
        QByteArray bad = good;
        for (int change = 0; change < 3; ++change) {
            const auto place = static_cast<qsizetype>(random()) % bad.size();
            bad[place] = static_cast<char>(byte(random));
        }
        WavStream wav;
        Samples samples;
        const bool taken = take(wav, bad, samples);
        QCOMPARE(taken, wav.rate().has_value());
        QVERIFY(samples.size() <= someSamples.size());
    }
}

WINGBELL_GUILESS_TEST(WavStreamTest)
#include "WavStreamTest.moc"
