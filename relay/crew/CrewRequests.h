#pragma once

#include "relay/crew/AnswerRequest.h"
#include "relay/crew/CodeRequest.h"
#include "relay/crew/JoinRequest.h"
#include "relay/crew/LeaveRequest.h"
#include "relay/crew/RequestFault.h"
#include "relay/crew/StateRequest.h"

#include <QByteArrayView>
#include <QtGlobal>

#include <cstddef>
#include <variant>

namespace wingbell {

// The JSON bodies of the crew's requests. They take any bytes whatever. What stands under unknown
// members must be JSON and is not kept; depth costs no more than length.

/// In bytes.
inline constexpr qsizetype largestRequest = 65536;
inline constexpr std::size_t longestRequestWord = 64; ///< a code, a key, a session
inline constexpr std::size_t longestAnswerWord = 256; ///< of those that an answer consists of

/// How many channels a state may tell of.
inline constexpr std::size_t mostStateChannels = 1024;

/// What pages can count to without leaving a number out: 2^53.
inline constexpr quint64 largestStateNumber = 9007199254740992;

[[nodiscard]] std::variant<CodeRequest, RequestFault> readCodeRequest(QByteArrayView body);
[[nodiscard]] std::variant<JoinRequest, RequestFault> readJoinRequest(QByteArrayView body);
[[nodiscard]] std::variant<AnswerRequest, RequestFault> readAnswerRequest(QByteArrayView body);
[[nodiscard]] std::variant<StateRequest, RequestFault> readStateRequest(QByteArrayView body);
[[nodiscard]] std::variant<LeaveRequest, RequestFault> readLeaveRequest(QByteArrayView body);

} // namespace wingbell
