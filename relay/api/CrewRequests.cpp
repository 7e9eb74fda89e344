#include "relay/api/CrewRequests.h"

#include "base/JsonTree.h"
#include "base/Utf8.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

namespace wingbell {

namespace {

using Json = nlohmann::json;

/// Of each RequestBodyError.
constexpr std::array errorWords = {"too-large",    "no-json",  "no-object",
                                   "wrong-type",   "missing",  "twice",
                                   "out-of-range", "too-long", "bad-answer"};
static_assert(errorWords.size() == static_cast<std::size_t>(RequestBodyError::BadAnswer) + 1);

/// Of each PageReport::Screen.
constexpr std::array screenWords = {"unknown", "on", "may-lock", "hidden"};
static_assert(screenWords.size() == static_cast<std::size_t>(PageReport::Screen::Hidden) + 1);

constexpr double maxReportedDelay = 60000; // milliseconds

/// Refuses an object that has a member twice.
class UniqueMemberBuilder : public JsonTreeBuilder
{
public:
    explicit UniqueMemberBuilder(Json& tree)
        : JsonTreeBuilder(tree)
        , m_tree(tree)
    {
    }

    bool key(std::string& name)
    {
        if (depth() == 1 && m_tree.contains(name)) {
            return refuse({JsonError::Kind::Repeated});
        }
        return JsonTreeBuilder::key(name);
    }

private:
    const Json& m_tree;
};

/// Reads the members of a request. Values read after an error mean nothing.
class MemberReader
{
public:
    explicit MemberReader(QByteArrayView body)
    {
        if (body.size() > maxRequestSize) {
            refuse(RequestBodyError::TooLarge);
            return;
        }
        auto json = readJson<UniqueMemberBuilder>(body);
        if (!json) {
            const bool isRepeated = json.error().kind == JsonError::Kind::Repeated;
            refuse(isRepeated ? RequestBodyError::Twice : RequestBodyError::NoJson);
        } else if (!json->is_object()) {
            refuse(RequestBodyError::NoObject);
        } else {
            m_object = *std::move(json);
        }
    }

    QByteArray text(const char* name, std::size_t maxSize = maxAnswerWord)
    {
        const Json* value = member(name, &Json::is_string);
        if (value == nullptr) {
            return {};
        }
        const auto& text = value->get_ref<const std::string&>();
        if (text.size() > maxSize) {
            refuse(RequestBodyError::TooLong);
        }
        return QByteArray::fromStdString(text);
    }

    QString word(const char* name) { return textFromUtf8(text(name, maxRequestWord)); }

    std::optional<QString> optionalWord(const char* name)
    {
        return has(name) ? std::optional(word(name)) : std::nullopt;
    }

    Credential credential()
    {
        const QString key = optionalWord("key").value_or(QString());
        if (key.isEmpty()) {
            return {word("code"), {}, {}};
        }
        const char* const role = has("cardRole") ? "cardRole" : "role";
        return {{}, key, optionalWord(role).value_or(QString())};
    }

    bool flag(const char* name)
    {
        const Json* value = member(name, &Json::is_boolean);
        return value != nullptr && value->get<bool>();
    }

    bool optionalFlag(const char* name) { return has(name) && flag(name); }

    quint64 stateNumber(const char* name)
    {
        const Json* value = member(name, &Json::is_number);
        if (value == nullptr) {
            return 0;
        }
        if (!value->is_number_unsigned() || value->get<quint64>() > maxStateNumber) {
            refuse(RequestBodyError::OutOfRange);
            return 0;
        }
        return value->get<quint64>();
    }

    std::optional<quint32> optionalId(const char* name)
    {
        if (!has(name)) {
            return std::nullopt;
        }
        const quint64 number = stateNumber(name);
        if (number > std::numeric_limits<quint32>::max()) {
            refuse(RequestBodyError::OutOfRange);
        }
        return static_cast<quint32>(number);
    }

    quint64 optionalNumber(const char* name) { return has(name) ? stateNumber(name) : 0; }

    /// From 0 to `largest`.
    std::optional<double> optionalShare(const char* name, double largest = 1)
    {
        if (!has(name)) {
            return std::nullopt;
        }
        const Json* value = member(name, &Json::is_number);
        if (value == nullptr || !(value->get<double>() >= 0 && value->get<double>() <= largest)) {
            refuse(RequestBodyError::OutOfRange);
            return std::nullopt;
        }
        return value->get<double>();
    }

    PageReport report()
    {
        PageReport report;
        const QString screen = optionalWord("screen").value_or(QString());
        for (std::size_t index = 0; index < screenWords.size(); ++index) {
            if (screen == QLatin1String(screenWords.at(index))) {
                report.screen = static_cast<PageReport::Screen>(index);
            }
        }
        report.battery = optionalShare("battery");
        report.isCharging = optionalFlag("charging");
        report.loss = optionalShare("loss");
        report.delay = optionalShare("delay", maxReportedDelay);
        return report;
    }

    /// Of every channel one, from 0 to `largest`.
    std::vector<double> numbers(const char* name, double largest)
    {
        const Json* list = member(name, &Json::is_array);
        std::vector<double> values;
        if (list == nullptr) {
            return values;
        }
        for (const Json& entry : *list) {
            if (!entry.is_number()) {
                refuse(RequestBodyError::WrongType);
                return {};
            }
            values.push_back(entry.get<double>());
        }
        if (values.size() > maxStateChannels) {
            refuse(RequestBodyError::TooLong);
        }
        if (std::any_of(values.begin(), values.end(), [largest](double number) {
                return !(number >= 0 && number <= largest);
            })) {
            refuse(RequestBodyError::OutOfRange);
            return {};
        }
        return values;
    }

    int channelIndex(const char* name)
    {
        const quint64 index = stateNumber(name);
        if (index >= maxStateChannels) {
            refuse(RequestBodyError::OutOfRange);
            return 0;
        }
        return static_cast<int>(index);
    }

    QByteArray optionalText(const char* name, std::size_t maxSize)
    {
        return has(name) ? text(name, maxSize) : QByteArray();
    }

    /// Indexes of channels in ascending order, each once.
    std::vector<int> channelIndexes(const char* name)
    {
        std::vector<int> indexes;
        for (const double number : numbers(name, maxStateChannels - 1)) {
            if (std::trunc(number) != number) {
                refuse(RequestBodyError::OutOfRange);
            }
            indexes.push_back(static_cast<int>(number));
        }
        std::sort(indexes.begin(), indexes.end());
        indexes.erase(std::unique(indexes.begin(), indexes.end()), indexes.end());
        return indexes;
    }

    std::vector<float> channelLevels(const char* name)
    {
        const std::vector<double> levels = numbers(name, 1);
        return {levels.begin(), levels.end()};
    }

    /// Synchronisation sources of RTP.
    std::vector<quint32> sources(const char* name)
    {
        std::vector<quint32> sources;
        for (const double number : numbers(name, std::numeric_limits<quint32>::max())) {
            sources.push_back(static_cast<quint32>(number));
        }
        return sources;
    }

    /// `request`, which was made of what was read, unless something of it could not be.
    template <typename Request> Result<Request, RequestBodyError> result(Request request)
    {
        if (m_error) {
            return failure(*m_error);
        }
        return request;
    }

private:
    /// Null counts as missing.
    [[nodiscard]] bool has(const char* name) const
    {
        const auto found = m_object.find(name);
        return found != m_object.end() && !found->is_null();
    }

    /// The member, or nullptr and an error if it is missing or of another type.
    const Json* member(const char* name, bool (Json::*isOfType)() const noexcept)
    {
        if (!has(name)) {
            refuse(RequestBodyError::Missing);
            return nullptr;
        }
        const Json& value = m_object.at(name);
        if (!(value.*isOfType)()) {
            refuse(RequestBodyError::WrongType);
            return nullptr;
        }
        return &value;
    }

    /// That a member is missing is told only if there is no other error.
    void refuse(RequestBodyError error)
    {
        if (!m_error || *m_error == RequestBodyError::Missing) {
            m_error = error;
        }
    }

    Json m_object = Json::object();
    std::optional<RequestBodyError> m_error;
};

} // namespace

QByteArray wordFor(RequestBodyError error)
{
    return errorWords.at(static_cast<std::size_t>(error));
}

Result<Credential, RequestBodyError> readCredential(QByteArrayView body)
{
    MemberReader reader(body);
    return reader.result(reader.credential());
}

Result<SessionRequest, RequestBodyError> readSessionRequest(QByteArrayView body)
{
    MemberReader reader(body);
    return reader.result(SessionRequest{reader.word("session")});
}

Result<JoinRequest, RequestBodyError> readJoinRequest(QByteArrayView body)
{
    MemberReader reader(body);
    return reader.result(JoinRequest{
        reader.credential(), reader.word("role"), reader.flag("microphone"),
        reader.optionalWord("replaces")});
}

Result<AnswerRequest, RequestBodyError> readAnswerRequest(QByteArrayView body)
{
    MemberReader reader(body);
    auto request = reader.result(AnswerRequest{
        reader.word("session"),
        {reader.text("iceUfrag"), reader.text("icePwd"), reader.text("fingerprint"),
         reader.text("setup"), reader.text("direction"), reader.sources("sources"),
         reader.optionalFlag("red")}});
    if (request && !request->answer.isValid()) {
        return failure(RequestBodyError::BadAnswer);
    }
    return request;
}

Result<StateRequest, RequestBodyError> readStateRequest(QByteArrayView body)
{
    MemberReader reader(body);
    return reader.result(StateRequest{
        reader.word("session"), reader.stateNumber("number"), reader.channelIndexes("talk"),
        reader.channelLevels("levels"), reader.optionalNumber("closings"), reader.report()});
}

Result<CallRequest, RequestBodyError> readCallRequest(QByteArrayView body)
{
    MemberReader reader(body);
    return reader.result(
        CallRequest{reader.word("session"), reader.channelIndex("channel"), reader.flag("on")});
}

Result<AcknowledgeRequest, RequestBodyError> readAcknowledgeRequest(QByteArrayView body)
{
    MemberReader reader(body);
    return reader.result(AcknowledgeRequest{
        reader.word("session"), reader.channelIndex("channel"), reader.flag("call")});
}

Result<DeskOpenRequest, RequestBodyError> readDeskOpenRequest(QByteArrayView body)
{
    MemberReader reader(body);
    return reader.result(DeskOpenRequest{reader.word("key")});
}

Result<CloseKeysRequest, RequestBodyError> readCloseKeysRequest(QByteArrayView body)
{
    MemberReader reader(body);
    return reader.result(CloseKeysRequest{reader.word("session"), reader.optionalId("member")});
}

Result<ChannelsRequest, RequestBodyError> readChannelsRequest(QByteArrayView body)
{
    MemberReader reader(body);
    return reader.result(ChannelsRequest{
        reader.word("session"), reader.channelIndexes("channels"),
        textFromUtf8(reader.optionalText("text", maxSpokenText))});
}

} // namespace wingbell
