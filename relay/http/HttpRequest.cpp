#include "relay/http/HttpRequest.h"

#include <QList>

#include <algorithm>
#include <limits>
#include <map>

namespace wingbell {

namespace {

/// By their names in lower case. The values of a repeated field are joined by commas.
using Fields = std::map<QByteArray, QByteArray>;

tl::unexpected<RequestError> malformed()
{
    return failure(RequestError{400, "malformed", HttpError::Malformed});
}

tl::unexpected<RequestError> unsupported(int status)
{
    return failure(RequestError{status, "unsupported", HttpError::Malformed});
}

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

bool isTokenCharacter(char character)
{
    const bool isLetter =
        (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
    return isLetter || isDigit(character) || QByteArrayView("!#$%&'*+-.^_`|~").contains(character);
}

bool isVisible(char character)
{
    return character > ' ' && character < '\x7f';
}

/// What a field's value may hold: text, blanks and tabs; no other control character.
bool isValueCharacter(char character)
{
    return static_cast<unsigned char>(character) >= ' ' ? character != '\x7f' : character == '\t';
}

bool isHostCharacter(char character)
{
    return isTokenCharacter(character) || character == ':' || character == '[' || character == ']';
}

template <typename IsAllowed> bool isMadeOf(QByteArrayView text, IsAllowed isAllowed)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), isAllowed);
}

bool isSame(const QByteArray& text, QByteArrayView other)
{
    return text.compare(other, Qt::CaseInsensitive) == 0;
}

/// Takes the text up to `separator` off `text`; all of it where there is no separator.
QByteArrayView takeUntil(QByteArrayView& text, QByteArrayView separator)
{
    const qsizetype at = text.indexOf(separator);
    const QByteArrayView taken = at < 0 ? text : text.first(at);
    text = at < 0 ? QByteArrayView() : text.sliced(at + separator.size());
    return taken;
}

Result<void, RequestError> readRequestLine(QByteArrayView line, HttpRequest& request)
{
    if (line.count(' ') != 2) {
        return malformed();
    }
    const QByteArrayView method = takeUntil(line, " ");
    QByteArrayView target = takeUntil(line, " ");
    const QByteArrayView version = line;
    if (!isMadeOf(method, isTokenCharacter) || !version.startsWith("HTTP/")) {
        return malformed();
    }
    request.takesChunks = version == "HTTP/1.1";
    if (!request.takesChunks && version != "HTTP/1.0") {
        return unsupported(505);
    }
    if (method != "GET" && method != "HEAD" && method != "POST") {
        return failure(RequestError{405, "wrong-method", HttpError::Malformed});
    }
    if (!target.startsWith('/') || target.contains('#') || !isMadeOf(target, isVisible)) {
        return malformed();
    }
    request.method = method.toByteArray();
    request.path = takeUntil(target, "?").toByteArray();
    request.query = target.toByteArray();
    return {};
}

bool mayBeRepeated(const QByteArray& name)
{
    return name != "host" && name != "origin" && name != "content-length" &&
           name != "transfer-encoding";
}

Result<Fields, RequestError> readFields(QByteArrayView lines)
{
    Fields fields;
    while (!lines.isEmpty()) {
        const QByteArrayView line = takeUntil(lines, "\r\n");
        const qsizetype colon = line.indexOf(':');
        if (colon < 0 || !isMadeOf(line.first(colon), isTokenCharacter) ||
            !std::all_of(line.begin() + colon, line.end(), isValueCharacter)) {
            return malformed();
        }
        const QByteArray name = line.first(colon).toByteArray().toLower();
        const QByteArray value = line.sliced(colon + 1).trimmed().toByteArray();
        const auto [field, isNew] = fields.try_emplace(name, value);
        if (!isNew && !mayBeRepeated(name)) {
            return malformed();
        }
        if (!isNew) {
            field->second.append(',').append(value);
        }
    }
    return fields;
}

std::optional<QByteArray> valueOf(const Fields& fields, const QByteArray& name)
{
    const auto field = fields.find(name);
    return field == fields.end() ? std::nullopt : std::optional(field->second);
}

bool asksToClose(const Fields& fields)
{
    const QList<QByteArray> words = valueOf(fields, "connection").value_or(QByteArray()).split(',');
    return std::any_of(words.begin(), words.end(), [](const QByteArray& word) {
        return isSame(word.trimmed(), "close");
    });
}

/// A length that does not fit the number is larger than any limit.
std::uint64_t numberOf(const QByteArray& digits)
{
    bool fits = false;
    const std::uint64_t number = digits.toULongLong(&fits);
    return fits ? number : std::numeric_limits<std::uint64_t>::max();
}

Result<void, RequestError> useFields(const Fields& fields, HttpRequest& request)
{
    const QByteArray host = valueOf(fields, "host").value_or(QByteArray());
    const auto length = valueOf(fields, "content-length");
    const auto coding = valueOf(fields, "transfer-encoding");
    const auto expectation = valueOf(fields, "expect");
    if (!isMadeOf(host, isHostCharacter) || (length && !isMadeOf(*length, isDigit)) ||
        (coding && (length || !request.takesChunks))) {
        return malformed();
    }
    if (coding && !isSame(*coding, "chunked")) {
        return unsupported(501);
    }
    if (expectation && !isSame(*expectation, "100-continue")) {
        return unsupported(417);
    }
    request.host = host;
    request.origin = valueOf(fields, "origin");
    request.ifNoneMatch = valueOf(fields, "if-none-match").value_or(QByteArray());
    request.contentLength = numberOf(length.value_or("0"));
    request.isChunked = coding.has_value();
    request.expectsContinue = expectation.has_value();
    request.keepsConnection = request.takesChunks && !asksToClose(fields);
    return {};
}

QByteArray decoded(QByteArrayView text)
{
    return QByteArray::fromPercentEncoding(text.toByteArray().replace('+', ' '));
}

} // namespace

std::optional<QByteArray> HttpRequest::queryItem(QByteArrayView name) const
{
    for (const QByteArray& item : query.split('&')) {
        QByteArrayView value = item;
        if (decoded(takeUntil(value, "=")) == name) {
            return decoded(value);
        }
    }
    return std::nullopt;
}

Result<HttpRequest, RequestError> readRequestHead(QByteArrayView head)
{
    HttpRequest request;
    return readRequestLine(takeUntil(head, "\r\n"), request)
        .and_then([&] { return readFields(head); })
        .and_then([&](const Fields& fields) { return useFields(fields, request); })
        .map([&] { return std::move(request); });
}

} // namespace wingbell
