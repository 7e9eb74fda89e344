#include "relay/osc/OscPacket.h"
#include "relay/osc/OscRequest.h"
#include "tests/TestProgram.h"

#include <QTest>
#include <QtEndian>

#include <algorithm>
#include <memory>
#include <random>

using namespace wingbell;

namespace {

/// `text` as OSC has it: with one zero byte behind it or more, up to a multiple of four.
QByteArray oscString(QByteArray text)
{
    const qsizetype padded = (text.size() / 4 + 1) * 4;
    return text.append(padded - text.size(), '\0');
}

QByteArray
message(const QByteArray& address, const QByteArray& typeTags, const QByteArray& arguments = {})
{
    return oscString(address) + oscString(',' + typeTags) + arguments;
}

QByteArray say(const QByteArray& text, const QByteArray& address = "/wingbell/say")
{
    return message(address, "s", oscString(text));
}

QByteArray length(quint32 bytes)
{
    QByteArray result(4, '\0');
    qToBigEndian(bytes, result.data());
    return result;
}

const QByteArray now = QByteArray(7, '\0') + '\x01';

QByteArray bundle(const QList<QByteArray>& elements)
{
    QByteArray result = oscString("#bundle") + now;
    for (const QByteArray& element : elements) {
        result += length(static_cast<quint32>(element.size())) + element;
    }
    return result;
}

QByteArray nested(int depth, QByteArray inside)
{
    for (int level = 0; level < depth; ++level) {
        inside = bundle({inside});
    }
    return inside;
}

using Code = OscError::Code;
using Element = Result<OscMessage, OscError>;

QString inBrackets(Code code)
{
    return QStringLiteral("<%1>").arg(static_cast<int>(code));
}

/// The texts of the messages; for one that cannot be read, the error's code between angle brackets.
QStringList texts(const QByteArray& packet)
{
    QStringList result;
    for (const Element& element : readOscPacket(packet)) {
        result.append(
            element ? QString::fromUtf8(element->text) : inBrackets(element.error().code));
    }
    return result;
}

/// Reads from a block of memory of exactly that size, so that a sanitizer sees a byte too far.
std::vector<Element> readExactly(const QByteArray& packet)
{
    const auto size = static_cast<std::size_t>(packet.size());
    const auto memory = std::make_unique<char[]>(size);
    std::copy(packet.begin(), packet.end(), memory.get());
    return readOscPacket(QByteArrayView(memory.get(), packet.size()));
}

} // namespace

class OscPacketTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aNumberIsRead();
    void whatIsWrittenCanBeRead();
    void aMessageIsRead();
    void aSymbolIsReadAsAText();
    void aTextIsOnlyTheFirstArgument();
    void otherArgumentsAreAllowed();
    void aBundleGivesItsMessagesInOrder();
    void aBundleOfNothingHoldsNothing();
    void bundlesInsideBundlesAreRead();
    void bundlesTooDeepAreRejected();
    void aBundleOfTooManyMessagesIsRejected();
    void aBrokenMessageLeavesTheOthersOfItsBundle();
    void aBrokenBundleIsRejectedAsAWhole_data();
    void aBrokenBundleIsRejectedAsAWhole();
    void aBrokenMessageIsRejected_data();
    void aBrokenMessageIsRejected();
    void aMessageOfAnAddressAloneHasNoArguments();
    void theLargestTextIsRead();
    void noBytesWhateverDoHarm();
};

void OscPacketTest::aMessageIsRead()
{
    const std::vector<Element> elements = readOscPacket(say("Places"));
    QCOMPARE(elements.size(), std::size_t{1});
    const OscMessage expected{"/wingbell/say", "s", "Places"};
    QCOMPARE(elements.front().value(), expected);
}

void OscPacketTest::aSymbolIsReadAsAText()
{
    const std::vector<Element> elements = readOscPacket(message("/a", "S", oscString("Go")));
    const OscMessage expected{"/a", "S", "Go"};
    QCOMPARE(elements.at(0).value(), expected);
}

void OscPacketTest::aTextIsOnlyTheFirstArgument()
{
    const QByteArray packet = message("/a", "is", QByteArray(4, '\0') + oscString("Go"));
    const OscMessage expected{"/a", "is", {}, 0};
    QCOMPARE(readOscPacket(packet).at(0).value(), expected);
}

void OscPacketTest::otherArgumentsAreAllowed()
{
    const QByteArray blob = length(5) + QByteArray("bytes\0\0\0", 8);
    const QByteArray packet = message("/a", "fhdtTFNIb", QByteArray(4 + 8 + 8 + 8, '\x7F') + blob);
    const OscMessage expected{"/a", "fhdtTFNIb", {}};
    QCOMPARE(readOscPacket(packet).at(0).value(), expected);
}

void OscPacketTest::aBundleGivesItsMessagesInOrder()
{
    const QByteArray packet = bundle({say("one"), bundle({say("two"), say("three")}), say("four")});
    const QStringList expected = {
        QStringLiteral("one"), QStringLiteral("two"), QStringLiteral("three"),
        QStringLiteral("four")};
    QCOMPARE(texts(packet), expected);
}

void OscPacketTest::aBundleOfNothingHoldsNothing()
{
    QCOMPARE(texts(bundle({})), QStringList());
}

void OscPacketTest::bundlesInsideBundlesAreRead()
{
    QCOMPARE(texts(nested(maxOscBundleDepth, say("deep"))), QStringList(QStringLiteral("deep")));
}

void OscPacketTest::bundlesTooDeepAreRejected()
{
    const OscError expected{Code::TooDeep, QStringLiteral("8")};
    for (const int depth : {maxOscBundleDepth + 1, 2500}) {
        const std::vector<Element> elements = readOscPacket(nested(depth, say("deep")));
        QCOMPARE(elements.size(), std::size_t{1});
        QVERIFY(elements.front() == failure(expected));
    }
}

void OscPacketTest::aBundleOfTooManyMessagesIsRejected()
{
    QList<QByteArray> messages(maxOscMessages, say("again"));
    QCOMPARE(texts(bundle(messages)).size(), qsizetype{maxOscMessages});
    messages.append(say("too much"));
    const std::vector<Element> elements = readOscPacket(bundle(messages));
    QCOMPARE(elements.size(), std::size_t{1});
    const OscError expected{Code::TooManyMessages, QStringLiteral("256")};
    QVERIFY(elements.front() == failure(expected));
}

void OscPacketTest::aBrokenMessageLeavesTheOthersOfItsBundle()
{
    const QStringList expected = {
        QStringLiteral("one"), inBrackets(Code::WrongArguments), QStringLiteral("two")};
    QCOMPARE(texts(bundle({say("one"), message("/a", "z"), say("two")})), expected);
}

void OscPacketTest::aBrokenBundleIsRejectedAsAWhole_data()
{
    QTest::addColumn<QByteArray>("packet");
    const QByteArray head = oscString("#bundle");
    QTest::newRow("no time tag") << head;
    QTest::newRow("half a time tag") << head + QByteArray(4, '\0');
    QTest::newRow("half a length") << bundle({say("one")}) + QByteArray(2, '\0');
    QTest::newRow("length beyond the end") << bundle({say("one")}) + length(4);
    QTest::newRow("greatest length") << bundle({say("one")}) + length(0xFFFFFFFF) + say("two");
    QTest::newRow("length of nothing") << bundle({say("one")}) + length(0);
    QTest::newRow("odd length") << bundle({say("one")}) + length(5) + QByteArray(5, '\0');
    QTest::newRow("cut off") << bundle({say("one"), say("two")}).chopped(4);
    QTest::newRow("broken inside") << bundle({say("one"), bundle({say("two")}).chopped(4)});
}

void OscPacketTest::aBrokenBundleIsRejectedAsAWhole()
{
    QFETCH(QByteArray, packet);
    const std::vector<Element> elements = readExactly(packet);
    QCOMPARE(elements.size(), std::size_t{1});
    QVERIFY(!elements.front());
    const Code code = elements.front().error().code;
    QVERIFY(code >= Code::NoTimeTag && code <= Code::WrongBundleLength);
}

void OscPacketTest::aBrokenMessageIsRejected_data()
{
    QTest::addColumn<QByteArray>("packet");
    QTest::addColumn<Code>("code");
    const auto notOsc = Code::NotOsc;
    const auto address = Code::UnendedAddress;
    const auto types = Code::WrongTypeTags;
    const auto arguments = Code::WrongArguments;
    const auto size = Code::WrongLength;

    QTest::newRow("nothing") << QByteArray() << Code::EmptyPacket;
    QTest::newRow("plain text") << QByteArray("Hello") << notOsc;
    QTest::newRow("almost a bundle") << QByteArray("#bundlf\0", 8) + now << notOsc;
    QTest::newRow("address without an end") << QByteArray("/a/b") << address;
    QTest::newRow("dirty padding") << QByteArray("/a\0x,\0\0\0", 8) << address;
    QTest::newRow("types without a comma") << oscString("/a") + oscString("s") << types;
    QTest::newRow("types without an end") << oscString("/a") + ",sss" << types;
    QTest::newRow("unknown type") << message("/a", "z") << arguments;
    QTest::newRow("argument missing") << message("/a", "s") << arguments;
    QTest::newRow("text without an end") << message("/a", "s", "text") << arguments;
    QTest::newRow("half a number") << message("/a", "d", QByteArray(4, '\0')) << arguments;
    QTest::newRow("blob beyond the end") << message("/a", "b", length(64) + "1234") << arguments;
    QTest::newRow("greatest blob") << message("/a", "b", length(0xFFFFFFFF) + "1234") << arguments;
    QTest::newRow("more than its types say") << message("/a", "i", QByteArray(8, '\0')) << size;
}

void OscPacketTest::aBrokenMessageIsRejected()
{
    QFETCH(QByteArray, packet);
    QFETCH(Code, code);
    const std::vector<Element> elements = readExactly(packet);
    QCOMPARE(elements.size(), std::size_t{1});
    QVERIFY(elements.front() == failure(OscError{code}));
}

void OscPacketTest::aMessageOfAnAddressAloneHasNoArguments()
{
    const std::vector<Element> elements = readExactly(oscString("/a"));
    QCOMPARE(elements.size(), std::size_t{1});
    QVERIFY(elements.front().value() == (OscMessage{"/a", {}, {}}));
}

void OscPacketTest::theLargestTextIsRead()
{
    constexpr qsizetype largestOverIpv4 = 65507;
    const qsizetype around = say({}).size();
    const QByteArray packet = say(QByteArray((largestOverIpv4 - around) / 4 * 4 + 3, 'x'));
    QCOMPARE(packet.size(), largestOverIpv4 / 4 * 4);
    QCOMPARE(texts(packet).at(0).size(), packet.size() - around + 3);
}

void OscPacketTest::noBytesWhateverDoHarm()
{
    const QList<QByteArray> whole = {
        say("Places, please"),
        say("Go", "/wingbell/say/Green%20Room"),
        bundle({say("one"), bundle({say("two")}), message("/a", "ifb", QByteArray(16, '\0'))}),
        nested(maxOscBundleDepth, say("deep")),
        message("/wingbell/say", "hdtcmTFNI", QByteArray(8 * 3 + 4 * 2, '\x55')),
    };
    const QSet<QString> channels = {QStringLiteral("Green Room")};
    std::mt19937 random(20240517); // NOLINT(bugprone-random-generator-seed): the same every time
    const auto below = [&random](qsizetype bound) {
        return static_cast<qsizetype>(random() % static_cast<unsigned>(bound));
    };
    int read = 0;
    int rejected = 0;
    for (int round = 0; round < 20000; ++round) {
        QByteArray packet = whole.at(below(whole.size()));
        for (qsizetype change = below(5); change >= 0 && !packet.isEmpty(); --change) {
            const qsizetype at = below(packet.size());
            switch (below(4)) {
            case 0:
                packet[at] = static_cast<char>(below(256));
                break;
            case 1:
                packet.truncate(at);
                break;
            case 2:
                packet.insert(at, packet.mid(below(packet.size()), 8));
                break;
            default:
                packet.remove(at, below(8));
            }
        }
        for (const Element& element : readExactly(packet)) {
            if (element) {
                ++read;
                QVERIFY(element->address.startsWith('/'));
                const auto request = readOscRequest(*element, channels);
                const auto* announcement = request ? std::get_if<Announcement>(&*request) : nullptr;
                QVERIFY(!announcement || !announcement->text.isEmpty());
            } else {
                ++rejected;
                QVERIFY(element.error().code <= Code::TooDeep);
            }
        }
    }
    // Both ways are gone often enough for the above to mean something.
    QVERIFY2(read > 1000, qPrintable(QString::number(read)));
    QVERIFY2(rejected > 10000, qPrintable(QString::number(rejected)));
}

void OscPacketTest::aNumberIsRead()
{
    const auto read = readOscPacket(message("/wingbell/reply", "i", length(53001)));
    QCOMPARE(read.at(0).value().number, std::optional<std::int32_t>(53001));
    QCOMPARE(readOscPacket(say("1")).at(0).value().number, std::nullopt);
}

void OscPacketTest::whatIsWrittenCanBeRead()
{
    QCOMPARE(oscMessage("/a", {"one", ""}), message("/a", "ss", oscString("one") + oscString("")));
    QCOMPARE(texts(oscMessage("/a", {"B\xC3\xBChne"})), QStringList(QStringLiteral("Bühne")));
}

WINGBELL_APPLESS_TEST(OscPacketTest)
#include "OscPacketTest.moc"
