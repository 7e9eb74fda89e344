#include "relay/link/ConnectivityChecks.h"

#include "tests/TestProgram.h"

#include <QTest>

#include <stun/stunagent.h>
#include <stun/usages/ice.h>

#include <array>
#include <list>
#include <string>
#include <vector>

using namespace wingbell;

namespace {

using Bytes = std::vector<std::uint8_t>;

const std::string password = "a password of the desk";

std::string_view passwordOf(std::string_view ufrag)
{
    return ufrag == "desk" ? std::string_view(password) : std::string_view();
}

/// What a browser makes checks with.
class Browser
{
public:
    Browser()
    {
        stun_agent_init(
            &m_agent, attributes.data(), STUN_COMPATIBILITY_RFC5389,
            static_cast<StunAgentUsageFlags>(
                STUN_AGENT_USAGE_SHORT_TERM_CREDENTIALS | STUN_AGENT_USAGE_USE_FINGERPRINT));
    }

    Bytes check(
        const std::string& userName, const std::string& withPassword, bool nominates = true,
        bool isControlling = true)
    {
        Bytes buffer(512);
        StunMessage message = {};
        buffer.resize(stun_usage_ice_conncheck_create(
            &m_agent, &message, buffer.data(), buffer.size(), bytesOf(userName), userName.size(),
            bytesOf(withPassword), withPassword.size(), nominates, isControlling, 12345, 1, nullptr,
            STUN_USAGE_ICE_COMPATIBILITY_RFC5245));
        m_password = withPassword;
        return buffer;
    }

    /// How the browser understands the response to its check, and whence it came in its eyes.
    StunUsageIceReturn read(std::span<const std::uint8_t> response, sockaddr_storage& mapped)
    {
        StunMessage message = {};
        StunDefaultValidaterData user[] = {
            {bytes("desk:browser"), 12, bytes(m_password), m_password.size()}, {}};
        if (stun_agent_validate(
                &m_agent, &message, response.data(), response.size(), stun_agent_default_validater,
                user) != STUN_VALIDATION_SUCCESS) {
            return STUN_USAGE_ICE_RETURN_INVALID;
        }
        socklen_t size = sizeof mapped;
        return stun_usage_ice_conncheck_process(
            &message, &mapped, &size, STUN_USAGE_ICE_COMPATIBILITY_RFC5245);
    }

private:
    static const std::uint8_t* bytesOf(const std::string& text)
    {
        return reinterpret_cast<const std::uint8_t*>(text.data());
    }
    std::uint8_t* bytes(std::string text)
    {
        m_texts.push_back(std::move(text));
        return reinterpret_cast<std::uint8_t*>(m_texts.back().data());
    }

    static constexpr std::array<std::uint16_t, 6> attributes = {
        STUN_ATTRIBUTE_USERNAME,           STUN_ATTRIBUTE_MESSAGE_INTEGRITY,
        STUN_ATTRIBUTE_XOR_MAPPED_ADDRESS, STUN_ATTRIBUTE_ERROR_CODE,
        STUN_ATTRIBUTE_FINGERPRINT,        0};
    StunAgent m_agent = {};
    std::string m_password;
    std::list<std::string> m_texts;
};

sockaddr_in6 phoneAt192_168_1_7()
{
    sockaddr_in6 address = {};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(4711);
    const std::array<std::uint8_t, 6> end = {0xFF, 0xFF, 192, 168, 1, 7};
    std::copy(end.begin(), end.end(), address.sin6_addr.s6_addr + 10);
    return address;
}

} // namespace

class ConnectivityChecksTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aValidCheckIsAnswered();
    void aCheckThatDoesNotNominateSaysSo();
    void aStrangerGetsNothing_data();
    void aStrangerGetsNothing();
    void theDeskNeverTakesTheControllingRole();
    void aChangedCheckIsDropped();
    void datagramsAreToldApartByTheirFirstByte();
};

void ConnectivityChecksTest::aValidCheckIsAnswered()
{
    Browser browser;
    ConnectivityChecks checks;
    const Bytes check = browser.check("desk:browser", password);
    const auto outcome = checks.take(check, phoneAt192_168_1_7(), passwordOf);
    QVERIFY(outcome.check);
    QCOMPARE(outcome.check->ufrag, std::string_view("desk"));
    QVERIFY(outcome.check->nominates);
    QCOMPARE(outcome.check->priority, 12345U);
    sockaddr_storage mapped = {};
    QCOMPARE(browser.read(outcome.response, mapped), STUN_USAGE_ICE_RETURN_SUCCESS);
    const auto& address = reinterpret_cast<const sockaddr_in&>(mapped);
    QCOMPARE(address.sin_family, AF_INET);
    QCOMPARE(address.sin_port, htons(4711));
    QCOMPARE(ntohl(address.sin_addr.s_addr), 0xC0A80107U);
}

void ConnectivityChecksTest::aCheckThatDoesNotNominateSaysSo()
{
    ConnectivityChecks checks;
    const auto outcome = checks.take(
        Browser().check("desk:browser", password, false), phoneAt192_168_1_7(), passwordOf);
    QVERIFY(outcome.check && !outcome.check->nominates);
}

void ConnectivityChecksTest::aStrangerGetsNothing_data()
{
    QTest::addColumn<QString>("userName");
    QTest::addColumn<QString>("with");
    QTest::newRow("wrong password") << "desk:browser"
                                    << "another password of it";
    QTest::newRow("unknown name") << "duck:browser" << QString::fromStdString(password);
    QTest::newRow("no name") << "" << QString::fromStdString(password);
}

void ConnectivityChecksTest::aStrangerGetsNothing()
{
    QFETCH(const QString, userName);
    QFETCH(const QString, with);
    ConnectivityChecks checks;
    const auto outcome = checks.take(
        Browser().check(userName.toStdString(), with.toStdString()), phoneAt192_168_1_7(),
        passwordOf);
    QVERIFY(!outcome.check);
    QVERIFY(outcome.response.empty());
}

void ConnectivityChecksTest::theDeskNeverTakesTheControllingRole()
{
    Browser browser;
    ConnectivityChecks checks;
    const auto outcome = checks.take(
        browser.check("desk:browser", password, false, false), phoneAt192_168_1_7(), passwordOf);
    QVERIFY(!outcome.check);
    sockaddr_storage mapped = {};
    QCOMPARE(browser.read(outcome.response, mapped), STUN_USAGE_ICE_RETURN_ROLE_CONFLICT);
}

void ConnectivityChecksTest::aChangedCheckIsDropped()
{
    Browser browser;
    const Bytes check = browser.check("desk:browser", password);
    for (std::size_t place = 0; place < check.size(); ++place) {
        ConnectivityChecks checks;
        Bytes changed = check;
        changed[place] ^= 1U;
        QVERIFY(!checks.take(changed, phoneAt192_168_1_7(), passwordOf).check);
        changed.resize(place);
        QVERIFY(!checks.take(changed, phoneAt192_168_1_7(), passwordOf).check);
    }
}

void ConnectivityChecksTest::datagramsAreToldApartByTheirFirstByte()
{
    const auto kind = [](std::uint8_t first) {
        return kindOf(std::array{first});
    };
    QVERIFY(kindOf({}) == DatagramKind::Other);
    QVERIFY(kind(0) == DatagramKind::Stun && kind(3) == DatagramKind::Stun);
    QVERIFY(kind(4) == DatagramKind::Other && kind(19) == DatagramKind::Other);
    QVERIFY(kind(20) == DatagramKind::Dtls && kind(63) == DatagramKind::Dtls);
    QVERIFY(kind(64) == DatagramKind::Other && kind(127) == DatagramKind::Other);
    QVERIFY(kind(128) == DatagramKind::Media && kind(191) == DatagramKind::Media);
    QVERIFY(kind(192) == DatagramKind::Other);
}

WINGBELL_APPLESS_TEST(ConnectivityChecksTest)
#include "ConnectivityChecksTest.moc"
