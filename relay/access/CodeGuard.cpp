#include "relay/access/CodeGuard.h"

#include "relay/net/IpAddress.h"

#include <algorithm>
#include <tuple>

namespace wingbell {

namespace {

using namespace std::chrono_literals;
using Clock = CodeGuard::Clock;

constexpr int firstGuessesBurst = 60;
constexpr int furtherGuessesBurst = 40;
constexpr Clock::duration firstGuessInterval = 10s;   // 6 a minute
constexpr Clock::duration furtherGuessInterval = 15s; // 4 a minute

/// Exponential backoff.
Clock::duration waitAfter(int wrongCodes)
{
    if (wrongCodes <= CodeGuard::freeWrongCodes) {
        return Clock::duration::zero();
    }
    constexpr int maxDoublings = 6; // reach maxWait
    const int doublings = std::min(wrongCodes - CodeGuard::freeWrongCodes - 1, maxDoublings);
    return std::min(CodeGuard::firstWait * (1 << doublings), CodeGuard::maxWait);
}

tl::unexpected<CodeError> slowDown(Clock::duration wait)
{
    return failure(
        CodeError{CodeError::Kind::SlowDown, std::chrono::ceil<std::chrono::seconds>(wait)});
}

template <typename Records> void makeRoom(Records& records, Clock::time_point now)
{
    if (records.size() < CodeGuard::maxAddresses) {
        return;
    }
    const auto order = [now](const auto& record) {
        return std::tuple(record.waitsUntil > now, record.lastChecked);
    };
    records.erase(std::min_element(
        records.begin(), records.end(),
        [&order](const auto& left, const auto& right) { return order(left) < order(right); }));
}

} // namespace

CodeGuard::CodeGuard(CrewCode code)
    : m_code(std::move(code))
    , m_firstGuesses(firstGuessesBurst, firstGuessInterval)
    , m_furtherGuesses(furtherGuessesBurst, furtherGuessInterval)
{
}

Result<void, CodeError>
CodeGuard::check(const QHostAddress& from, QStringView given, Clock::time_point now)
{
    const auto known = m_known.find(from);
    return known == m_known.end() ? checkUnknown(from, given, now) : checkKnown(*known, given, now);
}

Result<void, CodeError>
CodeGuard::checkKnown(Record& record, QStringView given, Clock::time_point now) const
{
    if (record.waitsUntil > now) {
        return slowDown(record.waitsUntil - now);
    }
    if (now - record.lastWrong >= forgottenAfter) {
        record.wrongCodes = 0;
    }
    record.lastChecked = now;
    if (!m_code.matches(given)) {
        // From here on every wait is as long as it gets; counting on would only overflow one day.
        constexpr int maxCounted = 1000;
        record.wrongCodes = std::min(record.wrongCodes + 1, maxCounted);
        record.lastWrong = now;
        record.waitsUntil = now + waitAfter(record.wrongCodes);
        return failure(CodeError{CodeError::Kind::Wrong});
    }
    record.wrongCodes = std::max(record.wrongCodes - 1, 0);
    return {};
}

Result<void, CodeError>
CodeGuard::checkUnknown(const QHostAddress& from, QStringView given, Clock::time_point now)
{
    const QHostAddress network = clientNetwork(from);
    const auto guessing = m_guessing.find(network);
    Record record = guessing == m_guessing.end() ? Record() : *guessing;
    if (record.waitsUntil > now) {
        return slowDown(record.waitsUntil - now);
    }
    TokenBucket& budget = guessing == m_guessing.end() ? m_firstGuesses : m_furtherGuesses;
    const Clock::duration wait = budget.untilNext(now);
    if (wait > Clock::duration::zero()) {
        return slowDown(wait);
    }
    const auto checked = checkKnown(record, given, now);
    if (checked) {
        makeRoom(m_known, now);
        m_known.insert(from, record);
        return checked;
    }
    (void)budget.take(now); // there is one: nothing was to wait for
    if (guessing == m_guessing.end()) {
        makeRoom(m_guessing, now);
    }
    m_guessing.insert(network, record);
    return checked;
}

} // namespace wingbell
