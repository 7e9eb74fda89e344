#include "relay/web/SafeHeaders.h"

#include <algorithm>

namespace wingbell {

namespace {

void put(WebHeaders& headers, const std::pair<QByteArray, QByteArray>& header)
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

WebHeaders merged(WebHeaders result, const WebHeaders& headers)
{
    for (const auto& header : headers) {
        put(result, header);
    }
    return result;
}

WebHeaders forAll()
{
    return {
        {"X-Content-Type-Options", "nosniff"},
        {"Referrer-Policy", "no-referrer"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
    };
}

} // namespace

WebHeaders safeApiHeaders(const WebHeaders& headers)
{
    return merged(
        merged(
            forAll(), {{"Cache-Control", "no-store"},
                       {"Content-Security-Policy", "default-src 'none'; frame-ancestors 'none'"}}),
        headers);
}

WebHeaders safePageHeaders(const WebHeaders& headers)
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
