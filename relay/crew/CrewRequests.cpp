#include "relay/crew/CrewRequests.h"

#include "base/Utf8.h"
#include "relay/crew/FlatObjectReader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>

namespace wingbell {

namespace {

using Kind = FlatObjectReader::Kind;
using Member = FlatObjectReader::Member;
using Numbers = std::vector<double>;

constexpr Member word(std::string_view name)
{
    return {name, Kind::Text, longestRequestWord};
}

QString text(const std::string& utf8)
{
    return textFromUtf8(QByteArrayView(utf8.data(), static_cast<qsizetype>(utf8.size())));
}

std::optional<RequestFault> readInto(FlatObjectReader& reader, QByteArrayView body)
{
    return body.size() > largestRequest ? RequestFault::TooLarge : reader.read(body);
}

/// The text of the one member that a body of `Request` has.
template <typename Request>
std::variant<Request, RequestFault> readOneWord(std::string_view name, QByteArrayView body)
{
    const std::array members = {word(name)};
    FlatObjectReader reader(members);
    if (const auto fault = readInto(reader, body)) {
        return *fault;
    }
    const auto value = reader.value<std::string>(0);
    if (!value) {
        return RequestFault::Missing;
    }
    return Request{text(*value)};
}

/// Indexes of channels in ascending order, each once.
std::optional<std::vector<int>> channelIndexes(const Numbers& numbers)
{
    std::vector<int> indexes;
    indexes.reserve(numbers.size());
    for (const double number : numbers) {
        if (!(number >= 0) || number >= static_cast<double>(mostStateChannels) ||
            std::trunc(number) != number) {
            return std::nullopt;
        }
        indexes.push_back(static_cast<int>(number));
    }
    std::sort(indexes.begin(), indexes.end());
    indexes.erase(std::unique(indexes.begin(), indexes.end()), indexes.end());
    return indexes;
}

std::optional<std::vector<float>> channelLevels(const Numbers& numbers)
{
    std::vector<float> levels;
    levels.reserve(numbers.size());
    for (const double number : numbers) {
        if (!(number >= 0 && number <= 1)) {
            return std::nullopt;
        }
        levels.push_back(static_cast<float>(number));
    }
    return levels;
}

} // namespace

std::variant<CodeRequest, RequestFault> readCodeRequest(QByteArrayView body)
{
    return readOneWord<CodeRequest>("code", body);
}

std::variant<LeaveRequest, RequestFault> readLeaveRequest(QByteArrayView body)
{
    return readOneWord<LeaveRequest>("session", body);
}

std::variant<JoinRequest, RequestFault> readJoinRequest(QByteArrayView body)
{
    enum Index { Code, Role, Microphone, Replaces };
    constexpr std::array members = {
        word("code"), word("role"), Member{"microphone", Kind::Flag}, word("replaces")};
    FlatObjectReader reader(members);
    if (const auto fault = readInto(reader, body)) {
        return *fault;
    }
    const auto code = reader.value<std::string>(Code);
    const auto role = reader.value<std::string>(Role);
    const auto microphone = reader.value<bool>(Microphone);
    if (!code || !role || !microphone) {
        return RequestFault::Missing;
    }
    JoinRequest request = {text(*code), text(*role), *microphone, std::nullopt};
    if (const auto replaces = reader.value<std::string>(Replaces)) {
        request.replaces = text(*replaces);
    }
    return request;
}

std::variant<AnswerRequest, RequestFault> readAnswerRequest(QByteArrayView body)
{
    enum Index { Session, Answer };
    constexpr std::array members = {
        word("session"), Member{"answer", Kind::Text, longestRequestAnswer}};
    FlatObjectReader reader(members);
    if (const auto fault = readInto(reader, body)) {
        return *fault;
    }
    const auto session = reader.value<std::string>(Session);
    const auto answer = reader.value<std::string>(Answer);
    if (!session || !answer) {
        return RequestFault::Missing;
    }
    return AnswerRequest{text(*session), QByteArray::fromStdString(*answer)};
}

std::variant<StateRequest, RequestFault> readStateRequest(QByteArrayView body)
{
    enum Index { Session, Number, Talk, Levels };
    constexpr std::array members = {
        word("session"), Member{"number", Kind::Whole},
        Member{"talk", Kind::Numbers, mostStateChannels},
        Member{"levels", Kind::Numbers, mostStateChannels}};
    FlatObjectReader reader(members);
    if (const auto fault = readInto(reader, body)) {
        return *fault;
    }
    const auto session = reader.value<std::string>(Session);
    const auto number = reader.value<std::uint64_t>(Number);
    const auto talk = reader.value<Numbers>(Talk);
    const auto levels = reader.value<Numbers>(Levels);
    if (!session || !number || !talk || !levels) {
        return RequestFault::Missing;
    }
    auto indexes = channelIndexes(*talk);
    auto shares = channelLevels(*levels);
    if (*number > largestStateNumber || !indexes || !shares) {
        return RequestFault::OutOfRange;
    }
    return StateRequest{text(*session), *number, std::move(*indexes), std::move(*shares)};
}

} // namespace wingbell
