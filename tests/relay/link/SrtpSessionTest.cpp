#include "relay/link/SrtpSession.h"

#include "tests/TestProgram.h"

#include <QTest>

#include <algorithm>
#include <array>
#include <vector>

using namespace wingbell;

Q_DECLARE_METATYPE(wingbell::SrtpProfile)

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t desk = 0x11111111;
constexpr std::uint32_t phone = 0x22222222;

Bytes master(SrtpProfile profile, std::uint8_t fill)
{
    return Bytes(srtpKeySize(profile) + srtpSaltSize(profile), fill);
}

/// Both ends of one way.
struct Ends
{
    explicit Ends(SrtpProfile profile)
        : ofDesk(SrtpSession::make(
              {profile, master(profile, 1), master(profile, 2)}, desk, std::array{phone}))
        , ofPhone(SrtpSession::make(
              {profile, master(profile, 2), master(profile, 1)}, phone, std::array{desk}))
    {
    }
    std::unique_ptr<SrtpSession> ofDesk;
    std::unique_ptr<SrtpSession> ofPhone;
};

Bytes rtp(std::uint32_t source, std::uint16_t sequence)
{
    Bytes packet = {0x80, 111, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 'p', 'l', 'a', 'c', 'e', 's'};
    packet[2] = static_cast<std::uint8_t>(sequence >> 8U);
    packet[3] = static_cast<std::uint8_t>(sequence);
    for (std::size_t byte = 0; byte < 4; ++byte) {
        packet[8 + byte] = static_cast<std::uint8_t>(source >> (8 * (3 - byte)));
    }
    return packet;
}

Bytes protectedBy(const SrtpSession& session, Bytes packet)
{
    const std::size_t size = packet.size();
    packet.resize(size + SrtpSession::maxOverhead);
    const auto result = session.protectRtp(packet, size);
    return Bytes(result.begin(), result.end());
}

Bytes unprotectedBy(const SrtpSession& session, Bytes packet)
{
    const auto result = session.unprotectRtp(packet);
    return Bytes(result.begin(), result.end());
}

} // namespace

class SrtpSessionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatOneEndProtectsTheOtherReads_data();
    void whatOneEndProtectsTheOtherReads();
    void aPacketIsReadOnce();
    void aChangedPacketIsDropped();
    void onlyTheSourcesOfTheAnswerAreHeard();
    void reportsAreProtectedToo();
    void rubbishIsDropped();
    void keysOfAnotherSizeAreRefused();
};

void SrtpSessionTest::whatOneEndProtectsTheOtherReads_data()
{
    QTest::addColumn<SrtpProfile>("profile");
    QTest::newRow("AES-GCM") << SrtpProfile::AeadAes128Gcm;
    QTest::newRow("AES counter mode with SHA-1") << SrtpProfile::Aes128CmSha1_80;
}

void SrtpSessionTest::whatOneEndProtectsTheOtherReads()
{
    QFETCH(const SrtpProfile, profile);
    const Ends ends(profile);
    QVERIFY(ends.ofDesk && ends.ofPhone);
    const Bytes plain = rtp(phone, 7);
    const Bytes secret = protectedBy(*ends.ofPhone, plain);
    QVERIFY(!secret.empty());
    QVERIFY(
        std::search(secret.begin(), secret.end(), plain.begin() + 12, plain.end()) == secret.end());
    QCOMPARE(unprotectedBy(*ends.ofDesk, secret), plain);
    QCOMPARE(unprotectedBy(*ends.ofPhone, protectedBy(*ends.ofDesk, rtp(desk, 7))), rtp(desk, 7));
}

void SrtpSessionTest::aPacketIsReadOnce()
{
    const Ends ends(SrtpProfile::AeadAes128Gcm);
    const Bytes secret = protectedBy(*ends.ofPhone, rtp(phone, 7));
    QVERIFY(!unprotectedBy(*ends.ofDesk, secret).empty());
    QVERIFY(unprotectedBy(*ends.ofDesk, secret).empty());
}

void SrtpSessionTest::aChangedPacketIsDropped()
{
    const Ends ends(SrtpProfile::AeadAes128Gcm);
    const Bytes secret = protectedBy(*ends.ofPhone, rtp(phone, 7));
    for (std::size_t place = 0; place < secret.size(); ++place) {
        Bytes changed = secret;
        changed[place] ^= 1U;
        QVERIFY2(unprotectedBy(*ends.ofDesk, changed).empty(), qPrintable(QString::number(place)));
    }
    QVERIFY(!unprotectedBy(*ends.ofDesk, secret).empty());
}

void SrtpSessionTest::onlyTheSourcesOfTheAnswerAreHeard()
{
    const SrtpProfile profile = SrtpProfile::AeadAes128Gcm;
    const auto stranger = SrtpSession::make(
        {profile, master(profile, 2), master(profile, 1)}, 0x33333333, std::array{desk});
    QVERIFY(
        unprotectedBy(*Ends(profile).ofDesk, protectedBy(*stranger, rtp(0x33333333, 1))).empty());
    Bytes goodbye = {0x81, 203, 0, 1, 0x33, 0x33, 0x33, 0x33};
    goodbye.resize(goodbye.size() + SrtpSession::maxOverhead);
    const auto secret = stranger->protectRtcp(goodbye, 8);
    QVERIFY(!secret.empty());
    QVERIFY(Ends(profile).ofDesk->unprotectRtcp(secret).empty());
}

void SrtpSessionTest::reportsAreProtectedToo()
{
    const Ends ends(SrtpProfile::AeadAes128Gcm);
    Bytes report = {0x80, 201, 0, 1, 0x22, 0x22, 0x22, 0x22};
    const Bytes plain = report;
    report.resize(plain.size() + SrtpSession::maxOverhead);
    const auto secret = ends.ofPhone->protectRtcp(report, plain.size());
    QVERIFY(secret.size() > plain.size());
    const auto read = ends.ofDesk->unprotectRtcp(secret);
    QCOMPARE(Bytes(read.begin(), read.end()), plain);
}

void SrtpSessionTest::rubbishIsDropped()
{
    const Ends ends(SrtpProfile::AeadAes128Gcm);
    for (std::size_t size = 0; size < 64; ++size) {
        Bytes rubbish(size, 0x80);
        QVERIFY(ends.ofDesk->unprotectRtp(rubbish).empty());
        QVERIFY(ends.ofDesk->unprotectRtcp(rubbish).empty());
    }
}

void SrtpSessionTest::keysOfAnotherSizeAreRefused()
{
    QVERIFY(!SrtpSession::make(
        {SrtpProfile::AeadAes128Gcm, Bytes(3), Bytes(3)}, desk, std::array{phone}));
}

WINGBELL_APPLESS_TEST(SrtpSessionTest)
#include "SrtpSessionTest.moc"
