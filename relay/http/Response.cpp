#include "relay/http/Response.h"

#include <QDateTime>
#include <QList>
#include <QLocale>

#include <algorithm>
#include <array>

namespace wingbell {

namespace {

constexpr std::array<std::pair<int, const char*>, 16> reasons = {{
    {200, "OK"},
    {204, "No Content"},
    {304, "Not Modified"},
    {400, "Bad Request"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method Not Allowed"},
    {413, "Content Too Large"},
    {417, "Expectation Failed"},
    {421, "Misdirected Request"},
    {429, "Too Many Requests"},
    {431, "Request Header Fields Too Large"},
    {500, "Internal Server Error"},
    {501, "Not Implemented"},
    {503, "Service Unavailable"},
    {505, "HTTP Version Not Supported"},
}};

QByteArray reasonFor(int status)
{
    const auto* reason = std::find_if(reasons.begin(), reasons.end(), [status](const auto& entry) {
        return entry.first == status;
    });
    return reason == reasons.end() ? "Unknown" : reason->second;
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
    return text.contains('\r') || text.contains('\n') || text.contains('\0');
}

void appendHeader(QByteArray& head, const QByteArray& name, const QByteArray& value)
{
    if (!breaksLines(name) && !breaksLines(value)) {
        head.append(name).append(": ").append(value).append("\r\n");
    }
}

HttpHeaders securityHeaders(const QByteArray& caching, const QByteArray& policy)
{
    return {
        {"X-Content-Type-Options", "nosniff"},
        {"Referrer-Policy", "no-referrer"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
        {"Cache-Control", caching},
        {"Content-Security-Policy", policy}};
}

HttpHeaders apiHeaders(const QByteArray& contentType)
{
    HttpHeaders headers = securityHeaders("no-store", "default-src 'none'; frame-ancestors 'none'");
    if (!contentType.isEmpty()) {
        headers.emplace_back("Content-Type", contentType);
    }
    return headers;
}

} // namespace

Response pageResponse(
    const QByteArray& contentType, const QByteArray& body, const QByteArray& policy,
    const QByteArray& caching)
{
    Response response{200, securityHeaders(caching, policy), body};
    response.headers.emplace_back("Content-Type", contentType);
    return response;
}

QByteArray defaultPagePolicy()
{
    return "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
           "connect-src 'self'; media-src blob:; base-uri 'none'; form-action 'none'; "
           "frame-ancestors 'none'";
}

Response jsonResponse(int status, const QByteArray& body)
{
    return {status, apiHeaders(body.isEmpty() ? QByteArray() : "application/json"), body};
}

Response errorResponse(int status, const QByteArray& word)
{
    return jsonResponse(status, QByteArray("{\"error\":\"").append(word).append("\"}"));
}

Response eventStreamResponse()
{
    return {200, apiHeaders("text/event-stream"), {}};
}

QByteArray responseHead(const Response& response, Framing framing, bool keepsConnection)
{
    QByteArray head("HTTP/1.1 ");
    head.append(QByteArray::number(response.status)).append(' ');
    head.append(reasonFor(response.status)).append("\r\n");
    appendHeader(head, "Date", date());
    for (const auto& [name, value] : response.headers) {
        appendHeader(head, name, value);
    }
    const bool mayHaveBody = response.status != 204 && response.status != 304;
    if (framing == Framing::Chunks) {
        appendHeader(head, "Transfer-Encoding", "chunked");
    } else if (framing == Framing::Length && mayHaveBody) {
        appendHeader(head, "Content-Length", QByteArray::number(response.body.size()));
    }
    if (!keepsConnection) {
        appendHeader(head, "Connection", "close");
    }
    return head.append("\r\n");
}

QByteArray chunk(const QByteArray& bytes)
{
    return QByteArray::number(bytes.size(), 16).append("\r\n").append(bytes).append("\r\n");
}

QByteArray serverSentEvent(const QByteArray& name, QByteArray data)
{
    QByteArray text = QByteArray("event: ").append(name).append('\n');
    data.replace("\r\n", "\n").replace('\r', '\n');
    for (const QByteArray& line : data.split('\n')) {
        text.append("data: ").append(line).append('\n');
    }
    return text.append('\n');
}

} // namespace wingbell
