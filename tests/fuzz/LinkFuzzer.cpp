#include "relay/link/ConnectivityChecks.h"
#include "relay/link/DtlsConnection.h"
#include "relay/link/RtcpReports.h"
#include "tests/fuzz/Check.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

using namespace wingbell;

namespace {

using Datagram = std::span<const std::uint8_t>;

std::string_view passwordOf(std::string_view ufrag)
{
    return ufrag == "desk" ? std::string_view("a password of the desk") : std::string_view();
}

/// What the port of the audio gets, one datagram after the other.
class Port
{
public:
    void take(Datagram datagram)
    {
        m_now += std::chrono::milliseconds(20);
        switch (kindOf(datagram)) {
        case DatagramKind::Stun:
            takeCheck(datagram);
            break;
        case DatagramKind::Dtls:
            m_dtls.take(datagram);
            check(!m_dtls.srtpKeys(), "there are no keys without a handshake");
            break;
        case DatagramKind::Media:
            takeMedia(datagram);
            break;
        case DatagramKind::Other:
            break;
        }
    }

    void begin(bool isServer) { m_dtls.begin("00:11", isServer); }

private:
    void takeCheck(Datagram datagram)
    {
        sockaddr_in6 source = {};
        source.sin6_family = AF_INET6;
        const auto outcome = m_checks.take(datagram, source, passwordOf);
        check(outcome.response.size() <= ConnectivityChecks::maxResponse, "a response is short");
        if (outcome.check) {
            check(outcome.check->ufrag == "desk", "a valid check is for one whose password it has");
            check(!outcome.response.empty(), "a valid check is answered");
        }
    }

    /// As if it had been decrypted.
    void takeMedia(Datagram datagram)
    {
        const auto requested = m_reports.take(datagram, m_now);
        check(requested.size() <= RtcpReports::maxRequested, "few packets are sent again");
        m_reports.received(datagram, m_now);
        std::array<std::uint8_t, RtcpReports::maxReport> buffer = {};
        const auto report = m_reports.write(buffer, m_now, std::chrono::system_clock::now());
        check(report.size() % 4 == 0, "a report is whole words");
    }

    static const DtlsContext& context()
    {
        static const std::unique_ptr<const DtlsContext> made = DtlsContext::make();
        return *made;
    }

    ConnectivityChecks m_checks;
    DtlsConnection m_dtls{context(), [](Datagram) {
                          }};
    RtcpReports m_reports{0x11111111};
    RtcpReports::Clock::time_point m_now{std::chrono::seconds(1000)};
};

} // namespace

/// The first byte says who begins the handshake; then each datagram comes after its size in two
/// bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Datagram input(data, size);
    if (input.empty()) {
        return 0;
    }
    Port port;
    port.begin(input.front() % 2 == 0);
    input = input.subspan(1);
    while (input.size() > 2) {
        const std::size_t wanted = (std::size_t{input[0]} << 8U) | input[1];
        const std::size_t length = std::min(wanted, input.size() - 2);
        port.take(input.subspan(2, length));
        input = input.subspan(2 + length);
    }
    return 0;
}
