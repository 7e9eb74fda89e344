#include "relay/crew/CrewAnswers.h"
#include "relay/crew/CrewRequests.h"
#include "tests/fuzz/Check.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

using namespace wingbell;

namespace {

void checkWord(const QString& word)
{
    check(word.toUtf8().size() <= qsizetype{longestRequestWord}, "a word is short");
    check(
        QString::fromUtf8(word.toUtf8()).size() == word.size() || word.startsWith(QChar(0xFEFF)),
        "a word is text");
    RolesAnswer answer;
    answer.show = word;
    check(answerText(answer).isValidUtf8(), "what is told of a word is text");
}

bool isPlain(char character)
{
    return character == '\r' || character == '\n' || (character >= ' ' && character <= '~');
}

void checkState(const StateRequest& state)
{
    checkWord(state.session);
    check(state.number <= largestStateNumber, "a number can be counted to");
    check(state.levels.size() <= mostStateChannels, "there are so many levels at most");
    check(
        std::all_of(
            state.levels.begin(), state.levels.end(),
            [](float level) { return level >= 0 && level <= 1; }),
        "a level lies between 0 and 1");
    check(state.talk.size() <= mostStateChannels, "there are so many channels at most");
    check(
        std::adjacent_find(state.talk.begin(), state.talk.end(), std::greater_equal<>()) ==
            state.talk.end(),
        "channels ascend, each once");
    check(
        state.talk.empty() ||
            (state.talk.front() >= 0 && state.talk.back() < int{mostStateChannels}),
        "a channel can be one");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArrayView body(data, static_cast<qsizetype>(size));
    const auto code = readCodeRequest(body);
    if (const auto* request = std::get_if<CodeRequest>(&code)) {
        checkWord(request->code);
    }
    const auto join = readJoinRequest(body);
    if (const auto* request = std::get_if<JoinRequest>(&join)) {
        checkWord(request->code);
        checkWord(request->role);
        checkWord(request->replaces.value_or(QString()));
    }
    const auto answer = readAnswerRequest(body);
    if (const auto* request = std::get_if<AnswerRequest>(&answer)) {
        checkWord(request->session);
        const QByteArray sdp = sdpText(request->answer, "audio0");
        constexpr qsizetype lines = 16;
        check(sdp.count('\n') == lines && sdp.count('\r') == lines, "no line was smuggled in");
        check(std::all_of(sdp.begin(), sdp.end(), isPlain), "nothing but plain characters passes");
    }
    const auto state = readStateRequest(body);
    if (const auto* request = std::get_if<StateRequest>(&state)) {
        checkState(*request);
    }
    const auto leave = readLeaveRequest(body);
    if (const auto* request = std::get_if<LeaveRequest>(&leave)) {
        checkWord(request->session);
    }
    return 0;
}
