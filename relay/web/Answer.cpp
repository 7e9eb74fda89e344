#include "relay/web/Answer.h"

#include "relay/web/SafeHeaders.h"

#include <QDateTime>
#include <QLocale>

#include <algorithm>

namespace wingbell {

namespace {

QByteArray reason(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 204:
        return "No Content";
    case 304:
        return "Not Modified";
    case 400:
        return "Bad Request";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 413:
        return "Content Too Large";
    case 417:
        return "Expectation Failed";
    case 421:
        return "Misdirected Request";
    case 429:
        return "Too Many Requests";
    case 431:
        return "Request Header Fields Too Large";
    case 500:
        return "Internal Server Error";
    case 501:
        return "Not Implemented";
    case 503:
        return "Service Unavailable";
    case 505:
        return "HTTP Version Not Supported";
    default:
        return "Answer";
    }
}

QByteArray date()
{
    return QLocale::c()
        .toString(QDateTime::currentDateTimeUtc(), QStringLiteral("ddd, dd MMM yyyy hh:mm:ss"))
        .toLatin1()
        .append(" GMT");
}

bool breaksLines(const QByteArray& text)
{
    return std::any_of(text.begin(), text.end(), [](char character) {
        return character == '\r' || character == '\n' || character == '\0';
    });
}

void appendHeader(QByteArray& head, const QByteArray& name, const QByteArray& value)
{
    if (!breaksLines(name) && !breaksLines(value)) {
        head.append(name).append(": ").append(value).append("\r\n");
    }
}

bool hasNoBody(int status)
{
    return status == 204 || status == 304;
}

void appendFraming(QByteArray& head, const Answer& answer, Framing framing)
{
    if (framing == Framing::Chunks) {
        appendHeader(head, "Transfer-Encoding", "chunked");
    } else if (framing == Framing::Length && !hasNoBody(answer.status)) {
        appendHeader(head, "Content-Length", QByteArray::number(answer.body.size()));
    }
}

} // namespace

QByteArray answerHead(const Answer& answer, Framing framing, bool keepsConnection)
{
    QByteArray head("HTTP/1.1 ");
    head.append(QByteArray::number(answer.status)).append(' ').append(reason(answer.status));
    head.append("\r\n");
    appendHeader(head, "Date", date());
    for (const auto& [name, value] : answer.headers) {
        appendHeader(head, name, value);
    }
    appendFraming(head, answer, framing);
    if (!keepsConnection) {
        appendHeader(head, "Connection", "close");
    }
    return head.append("\r\n");
}

QByteArray chunk(const QByteArray& bytes)
{
    return QByteArray::number(bytes.size(), 16).append("\r\n").append(bytes).append("\r\n");
}

Answer errorAnswer(int status, const QByteArray& word, const WebHeaders& headers)
{
    WebHeaders all = safeApiHeaders(headers);
    all.emplace_back("Content-Type", "application/json");
    return {status, all, QByteArray("{\"error\":\"").append(word).append("\"}")};
}

} // namespace wingbell
