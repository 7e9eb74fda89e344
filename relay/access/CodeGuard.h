#pragma once

#include "base/Result.h"
#include "base/TokenBucket.h"
#include "relay/access/CrewCode.h"

#include <QHash>
#include <QHostAddress>
#include <QStringView>

#include <chrono>

namespace wingbell {

/// Why a code is not accepted.
struct CodeError
{
    enum class Kind { Wrong, SlowDown };

    Kind kind = Kind::SlowDown;
    std::chrono::seconds wait{0}; ///< until a code is checked again; only for SlowDown
};

/// Checks codes and limits the rate of guesses. Knows no clock; the times it is given must be
/// monotonic. Not thread-safe.
///
/// Each address has five wrong codes free; every further one is followed by a wait (exponential
/// backoff), from 1 s doubling to 60 s. During the wait nothing is checked and even the right code
/// is told to slow down, or waiting would cost an attacker nothing. After `forgottenAfter` without
/// a wrong code the count starts from zero. A right code takes back one wrong code only: several
/// people may share an address, and each of them who joins would otherwise give an attacker among
/// them five more free ones.
///
/// An address that gave the right code is known from then on. Known addresses are told apart to the
/// last bit and counted on their own, so that no other client on the same network can block them.
///
/// All unknown addresses together share two token buckets: one for the first wrong code of each
/// address, one for the further ones, so that attackers with many addresses, who have used up their
/// first ones, do not lock out a newcomer. The odds of guessing one of a million codes in a night
/// of twelve hours:
///   - from one address at most 5 + 6 + 60 an hour, 731 wrong codes: below 1 in 1300;
///   - from any number of unknown ones at most 100 + 10 a minute, 7300 wrong codes: below 1 in 130;
///   - each known address adds 731, and to be one takes the code.
class CodeGuard
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr int freeWrongCodes = 5;
    static constexpr Clock::duration firstWait = std::chrono::seconds(1);
    static constexpr Clock::duration maxWait = std::chrono::seconds(60);
    static constexpr Clock::duration forgottenAfter = std::chrono::minutes(30);

    /// Remembered of guessing and of known addresses each. To make room, those that do not wait are
    /// forgotten first, and among these the least recently used one.
    static constexpr qsizetype maxAddresses = 1024;

    explicit CodeGuard(CrewCode code);

    /// An error unless `given` was checked and is the code.
    [[nodiscard]] Result<void, CodeError>
    check(const QHostAddress& from, QStringView given, Clock::time_point now);

private:
    struct Record
    {
        int wrongCodes = 0;
        Clock::time_point lastChecked; ///< whichever code it was
        Clock::time_point lastWrong;
        Clock::time_point waitsUntil; ///< waits no more once this is reached
    };
    using Records = QHash<QHostAddress, Record>;

    [[nodiscard]] Result<void, CodeError>
    checkUnknown(const QHostAddress& from, QStringView given, Clock::time_point now);
    [[nodiscard]] Result<void, CodeError>
    checkKnown(Record& record, QStringView given, Clock::time_point now) const;

    CrewCode m_code;
    Records m_guessing; ///< by clientNetwork()
    Records m_known;    ///< by address
    TokenBucket m_firstGuesses;
    TokenBucket m_furtherGuesses;
};

} // namespace wingbell
