#include "relay/http/Response.h"

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
        return "Unknown";
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

void appendFraming(QByteArray& head, const Response& response, Framing framing)
{
    if (framing == Framing::Chunks) {
        appendHeader(head, "Transfer-Encoding", "chunked");
    } else if (framing == Framing::Length && !hasNoBody(response.status)) {
        appendHeader(head, "Content-Length", QByteArray::number(response.body.size()));
    }
}

void put(HttpHeaders& headers, const std::pair<QByteArray, QByteArray>& header)
{
    const auto same = std::find_if(headers.begin(), headers.end(), [&header](const auto& other) {
        return other.first.compare(header.first, Qt::CaseInsensitive) == 0;
    });
    if (same == headers.end()) {
        headers.push_back(header);
    } else {
        same->second = header.second;
    }
}

HttpHeaders merged(HttpHeaders result, const HttpHeaders& headers)
{
    for (const auto& header : headers) {
        put(result, header);
    }
    return result;
}

HttpHeaders forAll()
{
    return {
        {"X-Content-Type-Options", "nosniff"},
        {"Referrer-Policy", "no-referrer"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
    };
}

} // namespace

QByteArray responseHead(const Response& response, Framing framing, bool keepsConnection)
{
    QByteArray head("HTTP/1.1 ");
    head.append(QByteArray::number(response.status)).append(' ').append(reason(response.status));
    head.append("\r\n");
    appendHeader(head, "Date", date());
    for (const auto& [name, value] : response.headers) {
        appendHeader(head, name, value);
    }
    appendFraming(head, response, framing);
    if (!keepsConnection) {
        appendHeader(head, "Connection", "close");
    }
    return head.append("\r\n");
}

QByteArray chunk(const QByteArray& bytes)
{
    return QByteArray::number(bytes.size(), 16).append("\r\n").append(bytes).append("\r\n");
}

Response errorResponse(int status, const QByteArray& word, const HttpHeaders& headers)
{
    HttpHeaders all = safeApiHeaders(headers);
    all.emplace_back("Content-Type", "application/json");
    return {status, all, QByteArray("{\"error\":\"").append(word).append("\"}")};
}

HttpHeaders safeApiHeaders(const HttpHeaders& headers)
{
    return merged(
        merged(
            forAll(), {{"Cache-Control", "no-store"},
                       {"Content-Security-Policy", "default-src 'none'; frame-ancestors 'none'"}}),
        headers);
}

HttpHeaders safePageHeaders(const HttpHeaders& headers)
{
    static const QByteArray policy(
        "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
        "connect-src 'self'; media-src blob:; base-uri 'none'; form-action 'none'; "
        "frame-ancestors 'none'");
    return merged(
        merged(forAll(), {{"Cache-Control", "no-cache"}, {"Content-Security-Policy", policy}}),
        headers);
}

} // namespace wingbell
