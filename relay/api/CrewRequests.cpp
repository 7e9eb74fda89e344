#include "relay/api/CrewRequests.h"

#include "base/JsonTree.h"
#include "base/Utf8.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

namespace wingbell {

namespace {

using Json = nlohmann::json;

/// Refuses an object that has a member twice.
class RequestBuilder : public JsonTreeBuilder
{
public:
    explicit RequestBuilder(Json& tree)
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

/// Reads the members of a request, which must all be there but for optional ones. The first error
/// stands until result(); values read after it mean nothing.
class RequestReader
{
public:
    explicit RequestReader(QByteArrayView body)
    {
        if (body.size() > maxRequestSize) {
            refuse(RequestBodyError::TooLarge);
            return;
        }
        auto json = readJson<RequestBuilder>(body);
        if (!json) {
            const bool isRepeated = json.error().kind == JsonError::Kind::Repeated;
            refuse(isRepeated ? RequestBodyError::Twice : RequestBodyError::NoJson);
        } else if (!json->is_object()) {
            refuse(RequestBodyError::NoObject);
        } else {
            m_object = *std::move(json);
        }
    }

    std::optional<QByteArray> optionalText(const char* name, std::size_t maxSize)
    {
        const Json* value = member(name);
        if (value == nullptr) {
            return std::nullopt;
        }
        if (!value->is_string()) {
            refuse(RequestBodyError::WrongType);
            return std::nullopt;
        }
        const auto& text = value->get_ref<const std::string&>();
        if (text.size() > maxSize) {
            refuse(RequestBodyError::TooLong);
            return std::nullopt;
        }
        return QByteArray::fromStdString(text);
    }

    /// A word of an answer.
    QByteArray text(const char* name) { return demanded(optionalText(name, maxAnswerWord)); }

    std::optional<QString> optionalWord(const char* name)
    {
        const auto word = optionalText(name, maxRequestWord);
        return word ? std::optional(textFromUtf8(*word)) : std::nullopt;
    }

    QString word(const char* name) { return demanded(optionalWord(name)); }

    bool flag(const char* name)
    {
        const Json* value = member(name);
        if (value != nullptr && !value->is_boolean()) {
            refuse(RequestBodyError::WrongType);
            return false;
        }
        return demanded(value == nullptr ? std::nullopt : std::optional(value->get<bool>()));
    }

    quint64 stateNumber(const char* name)
    {
        const Json* value = member(name);
        if (value == nullptr) {
            return demanded(std::optional<quint64>());
        }
        const bool isWhole = value->is_number_unsigned();
        const quint64 number = isWhole ? value->get<quint64>() : 0;
        if (!value->is_number()) {
            refuse(RequestBodyError::WrongType);
        } else if (!isWhole || number > maxStateNumber) {
            refuse(RequestBodyError::OutOfRange);
        }
        return number;
    }

    /// Of every channel one, from 0 to `largest`.
    std::vector<double> numbers(const char* name, double largest)
    {
        const Json* value = member(name);
        if (value == nullptr) {
            return demanded(std::optional<std::vector<double>>());
        }
        std::vector<double> values;
        if (!value->is_array() || !std::all_of(value->begin(), value->end(), [](const Json& entry) {
                return entry.is_number();
            })) {
            refuse(RequestBodyError::WrongType);
        } else if (value->size() > maxStateChannels) {
            refuse(RequestBodyError::TooLong);
        } else {
            values = value->get<std::vector<double>>();
        }
        if (std::any_of(values.begin(), values.end(), [largest](double number) {
                return !(number >= 0 && number <= largest);
            })) {
            refuse(RequestBodyError::OutOfRange);
            return {};
        }
        return values;
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

    /// `request`, which was made of what was read, unless something of it could not be.
    template <typename Request> Result<Request, RequestBodyError> result(Request request)
    {
        if (m_error || m_isIncomplete) {
            return failure(m_error.value_or(RequestBodyError::Missing));
        }
        return request;
    }

private:
    const Json* member(const char* name) const
    {
        const auto found = m_object.find(name);
        return found == m_object.end() || found->is_null() ? nullptr : &*found;
    }

    template <typename Value> Value demanded(std::optional<Value> value)
    {
        m_isIncomplete = m_isIncomplete || !value;
        return std::move(value).value_or(Value());
    }

    void refuse(RequestBodyError error) { m_error = m_error.value_or(error); }

    Json m_object = Json::object();
    std::optional<RequestBodyError> m_error;
    bool m_isIncomplete = false;
};

} // namespace

QLatin1String wordFor(RequestBodyError error)
{
    switch (error) {
    case RequestBodyError::TooLarge:
        return QLatin1String("too-large");
    case RequestBodyError::NoJson:
        return QLatin1String("no-json");
    case RequestBodyError::NoObject:
        return QLatin1String("no-object");
    case RequestBodyError::WrongType:
        return QLatin1String("wrong-type");
    case RequestBodyError::Missing:
        return QLatin1String("missing");
    case RequestBodyError::Twice:
        return QLatin1String("twice");
    case RequestBodyError::OutOfRange:
        return QLatin1String("out-of-range");
    case RequestBodyError::BadAnswer:
        return QLatin1String("bad-answer");
    case RequestBodyError::TooLong:
        break;
    }
    return QLatin1String("too-long");
}

Result<CodeRequest, RequestBodyError> readCodeRequest(QByteArrayView body)
{
    RequestReader reader(body);
    return reader.result(CodeRequest{reader.word("code")});
}

Result<LeaveRequest, RequestBodyError> readLeaveRequest(QByteArrayView body)
{
    RequestReader reader(body);
    return reader.result(LeaveRequest{reader.word("session")});
}

Result<JoinRequest, RequestBodyError> readJoinRequest(QByteArrayView body)
{
    RequestReader reader(body);
    return reader.result(JoinRequest{
        reader.word("code"), reader.word("role"), reader.flag("microphone"),
        reader.optionalWord("replaces")});
}

Result<AnswerRequest, RequestBodyError> readAnswerRequest(QByteArrayView body)
{
    RequestReader reader(body);
    auto request = reader.result(AnswerRequest{
        reader.word("session"),
        {reader.text("iceUfrag"), reader.text("icePwd"), reader.text("fingerprint"),
         reader.text("setup"), reader.text("direction")}});
    if (request && !request->answer.isValid()) {
        return failure(RequestBodyError::BadAnswer);
    }
    return request;
}

Result<StateRequest, RequestBodyError> readStateRequest(QByteArrayView body)
{
    RequestReader reader(body);
    return reader.result(StateRequest{
        reader.word("session"), reader.stateNumber("number"), reader.channelIndexes("talk"),
        reader.channelLevels("levels")});
}

} // namespace wingbell
