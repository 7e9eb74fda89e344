#include "relay/http/RequestHead.h"

#include <QList>

#include <algorithm>
#include <limits>

namespace wingbell {

namespace {

using Error = std::optional<RequestError>;

RequestError malformed()
{
    return {400, "malformed", HttpError::Malformed};
}

bool isTokenCharacter(char character)
{
    const bool isLetter =
        (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
    const bool isDigit = character >= '0' && character <= '9';
    return isLetter || isDigit || QByteArrayView("!#$%&'*+-.^_`|~").contains(character);
}

bool isToken(QByteArrayView text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), isTokenCharacter);
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

bool isSame(QByteArrayView text, QByteArrayView other)
{
    return text.compare(other, Qt::CaseInsensitive) == 0;
}

/// True when one of the comma-separated words of `list` is `word`.
bool hasWord(QByteArrayView list, QByteArrayView word)
{
    while (!list.isEmpty()) {
        const qsizetype comma = list.indexOf(',');
        const qsizetype end = comma < 0 ? list.size() : comma;
        if (isSame(list.first(end).trimmed(), word)) {
            return true;
        }
        list = list.sliced(comma < 0 ? end : end + 1);
    }
    return false;
}

/// Takes the text up to `separator` off `text`; all of it where there is no separator.
QByteArrayView takeUntil(QByteArrayView& text, QByteArrayView separator)
{
    const qsizetype at = text.indexOf(separator);
    const QByteArrayView taken = at < 0 ? text : text.first(at);
    text = at < 0 ? QByteArrayView() : text.sliced(at + separator.size());
    return taken;
}

Error readTarget(QByteArrayView target, RequestHead& head)
{
    if (!target.startsWith('/') || target.contains('#') ||
        !std::all_of(target.begin(), target.end(), isVisible)) {
        return malformed();
    }
    head.path = takeUntil(target, "?").toByteArray();
    head.query = target.toByteArray();
    return std::nullopt;
}

Error readVersion(QByteArrayView version, RequestHead& head)
{
    if (version == "HTTP/1.1") {
        return std::nullopt;
    }
    if (version == "HTTP/1.0") {
        head.keepsConnection = false;
        head.takesChunks = false;
        return std::nullopt;
    }
    return version.startsWith("HTTP/") ? RequestError{505, "unsupported", HttpError::Malformed}
                                       : malformed();
}

Error readRequestLine(QByteArrayView line, RequestHead& head)
{
    if (line.count(' ') != 2) {
        return malformed();
    }
    const QByteArrayView method = takeUntil(line, " ");
    const QByteArrayView target = takeUntil(line, " ");
    if (!isToken(method)) {
        return malformed();
    }
    if (Error error = readVersion(line, head)) {
        return error;
    }
    if (method != "GET" && method != "HEAD" && method != "POST") {
        return RequestError{405, "wrong-method", HttpError::Malformed};
    }
    head.method = method.toByteArray();
    return readTarget(target, head);
}

Error readLength(QByteArrayView value, RequestHead& head)
{
    // More digits than this are more than any limit, and might not fit the number.
    constexpr qsizetype maxDigits = 18;
    const auto isDigit = [](char character) {
        return character >= '0' && character <= '9';
    };
    if (head.contentLength || value.isEmpty() ||
        !std::all_of(value.begin(), value.end(), isDigit)) {
        return malformed();
    }
    head.contentLength = value.size() > maxDigits ? std::numeric_limits<std::uint64_t>::max()
                                                  : value.toByteArray().toULongLong();
    return std::nullopt;
}

Error readCoding(QByteArrayView value, RequestHead& head)
{
    if (head.isChunked || !head.takesChunks) {
        return malformed();
    }
    if (!isSame(value, "chunked")) {
        return RequestError{501, "unsupported", HttpError::Malformed};
    }
    head.isChunked = true;
    return std::nullopt;
}

Error readHost(QByteArrayView value, RequestHead& head)
{
    if (!head.host.isEmpty() || value.isEmpty() ||
        !std::all_of(value.begin(), value.end(), isHostCharacter)) {
        return malformed();
    }
    head.host = value.toByteArray();
    return std::nullopt;
}

Error readOrigin(QByteArrayView value, RequestHead& head)
{
    if (head.origin) {
        return malformed();
    }
    head.origin = value.toByteArray();
    return std::nullopt;
}

Error readExpectation(QByteArrayView value, RequestHead& head)
{
    if (!isSame(value, "100-continue")) {
        return RequestError{417, "unsupported", HttpError::Malformed};
    }
    head.expectsContinue = true;
    return std::nullopt;
}

Error readField(QByteArrayView name, QByteArrayView value, RequestHead& head)
{
    if (isSame(name, "Host")) {
        return readHost(value, head);
    }
    if (isSame(name, "Origin")) {
        return readOrigin(value, head);
    }
    if (isSame(name, "Content-Length")) {
        return readLength(value, head);
    }
    if (isSame(name, "Transfer-Encoding")) {
        return readCoding(value, head);
    }
    if (isSame(name, "Expect")) {
        return readExpectation(value, head);
    }
    if (isSame(name, "Connection") && hasWord(value, "close")) {
        head.keepsConnection = false;
    } else if (isSame(name, "If-None-Match")) {
        head.ifNoneMatch = value.toByteArray();
    }
    return std::nullopt;
}

Error readFieldLine(QByteArrayView line, RequestHead& head)
{
    const qsizetype colon = line.indexOf(':');
    if (colon < 0 || !isToken(line.first(colon))) {
        return malformed();
    }
    const QByteArrayView value = line.sliced(colon + 1);
    if (!std::all_of(value.begin(), value.end(), isValueCharacter)) {
        return malformed();
    }
    return readField(line.first(colon), value.trimmed(), head);
}

QByteArray decoded(QByteArrayView text)
{
    return QByteArray::fromPercentEncoding(text.toByteArray().replace('+', ' '));
}

} // namespace

std::optional<QByteArray> RequestHead::queryItem(QByteArrayView name) const
{
    for (const QByteArray& item : query.split('&')) {
        const qsizetype equals = item.indexOf('=');
        const qsizetype end = equals < 0 ? item.size() : equals;
        if (decoded(QByteArrayView(item).first(end)) == name) {
            return equals < 0 ? QByteArray() : decoded(QByteArrayView(item).sliced(equals + 1));
        }
    }
    return std::nullopt;
}

std::variant<RequestHead, RequestError> readRequestHead(QByteArrayView head)
{
    RequestHead result;
    if (Error error = readRequestLine(takeUntil(head, "\r\n"), result)) {
        return *error;
    }
    while (!head.isEmpty()) {
        if (Error error = readFieldLine(takeUntil(head, "\r\n"), result)) {
            return *error;
        }
    }
    if (result.host.isEmpty() || (result.isChunked && result.contentLength)) {
        return malformed();
    }
    return result;
}

} // namespace wingbell
