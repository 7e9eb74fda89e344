#pragma once

#include "base/Result.h"
#include "base/TokenBucket.h"
#include "relay/access/CrewCode.h"

#include <QHash>
#include <QHostAddress>
#include <QStringView>

#include <chrono>

namespace wingbell {

/// Why a code is not taken.
struct CodeError
{
    enum class Kind { Wrong, SlowDown };

    Kind kind = Kind::SlowDown;
    std::chrono::seconds wait{0}; ///< until a code is checked again; only for SlowDown
};

/// Checks codes and slows down whoever guesses. Knows no clock; the times it is given must not go
/// back. Not for several threads at once.
///
/// Each address has five wrong codes free; then it waits after every further one, from 1 s doubling
/// to 60 s. While it waits, nothing is checked and even the right code is told to slow down, or the
/// waiting would cost a guesser nothing. After `forgottenAfter` without a wrong code the count
/// begins anew. A right code takes back one wrong code only: several people may share an address,
/// and each of them who joins would otherwise give a guesser among them five free ones more.
///
/// An address that gave the right code is known from then on. Known addresses are told apart to the
/// last bit and counted on their own, so nobody on the same network can make them wait.
///
/// All unknown addresses together share two budgets: one for the first wrong code of each address,
/// one for the further ones, so that guessers with many addresses, who have used up their first
/// ones, do not lock out a newcomer. The odds of guessing one of a million codes in a night of
/// twelve hours:
///   - from one address at most 5 + 6 + 60 an hour, 731 wrong codes: below 1 in 1300;
///   - from any number of unknown ones at most 100 + 10 a minute, 7300 wrong codes: below 1 in 130;
///   - each known address adds 731, and to be one takes the code.
class CodeGuard
{
public:
    using Clock = std::chrono::steady_clock;

    static constexpr int freeWrongCodes = 5;
    static constexpr Clock::duration firstWait = std::chrono::seconds(1);
    static constexpr Clock::duration longestWait = std::chrono::seconds(60);
    static constexpr Clock::duration forgottenAfter = std::chrono::minutes(30);

    /// Remembered of guessing and of known addresses each. Where a further one comes, one that does
    /// not wait is forgotten first, and among those the one not heard of for longest.
    static constexpr qsizetype mostAddresses = 1024;

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
    Records m_guessing; ///< by guest
    Records m_known;    ///< by address
    TokenBucket m_firstGuesses;
    TokenBucket m_furtherGuesses;
};

} // namespace wingbell
