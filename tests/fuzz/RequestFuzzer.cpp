#include "relay/api/CrewRequests.h"
#include "relay/api/CrewResponses.h"
#include "tests/fuzz/Check.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

using namespace wingbell;

namespace {

void checkWord(const QString& word)
{
    check(word.toUtf8().size() <= qsizetype{maxRequestWord}, "a word is short");
    check(
        QString::fromUtf8(word.toUtf8()).size() == word.size() || word.startsWith(QChar(0xFEFF)),
        "a word is text");
    RolesResponse answer;
    answer.show = word;
    check(responseText(answer).isValidUtf8(), "what is told of a word is text");
}

void checkState(const StateRequest& state)
{
    checkWord(state.session);
    check(state.number <= maxStateNumber, "a number can be counted to");
    check(state.levels.size() <= maxStateChannels, "there are so many levels at most");
    check(
        std::all_of(
            state.levels.begin(), state.levels.end(),
            [](float level) { return level >= 0 && level <= 1; }),
        "a level lies between 0 and 1");
    check(state.talk.size() <= maxStateChannels, "there are so many channels at most");
    check(
        std::adjacent_find(state.talk.begin(), state.talk.end(), std::greater_equal<>()) ==
            state.talk.end(),
        "channels ascend, each once");
    check(
        state.talk.empty() ||
            (state.talk.front() >= 0 && state.talk.back() < int{maxStateChannels}),
        "a channel can be one");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArrayView body(data, static_cast<qsizetype>(size));
    const auto code = readCredential(body);
    if (code) {
        checkWord(code->code);
    }
    const auto join = readJoinRequest(body);
    if (join) {
        checkWord(join->credential.code);
        checkWord(join->credential.key);
        checkWord(join->credential.cardRole);
        checkWord(join->role);
        checkWord(join->replaces.value_or(QString()));
    }
    const auto answer = readAnswerRequest(body);
    if (answer) {
        checkWord(answer->session);
        const SdpAnswer& words = answer->answer;
        check(words.isValid(), "only valid words pass");
        check(words.sources.size() <= SdpAnswer::maxSources, "only a few sources pass");
    }
    const auto state = readStateRequest(body);
    if (state) {
        checkState(*state);
    }
    const auto leave = readSessionRequest(body);
    if (leave) {
        checkWord(leave->session);
    }
    if (const auto call = readCallRequest(body)) {
        checkWord(call->session);
        check(call->channel >= 0, "no channel is negative");
    }
    if (const auto acknowledgement = readAcknowledgeRequest(body)) {
        checkWord(acknowledgement->session);
        check(acknowledgement->channel >= 0, "no channel is negative");
    }
    if (const auto open = readDeskOpenRequest(body)) {
        checkWord(open->key);
    }
    if (const auto close = readCloseKeysRequest(body)) {
        checkWord(close->session);
    }
    if (const auto channels = readChannelsRequest(body)) {
        checkWord(channels->session);
        check(channels->channels.size() <= maxStateChannels, "only so many channels pass");
        check(channels->text.size() <= qsizetype{maxSpokenText}, "no text is too long");
    }
    return 0;
}
