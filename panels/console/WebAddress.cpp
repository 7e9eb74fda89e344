#include "panels/console/WebAddress.h"

#include <QRegularExpression>

namespace wingbell {

namespace {

/// Without what ends a sentence, and without closing brackets that were opened before the address.
QStringView withoutPunctuation(QStringView address)
{
    const auto isUnopened = [&address](QChar closing, QChar opening) {
        return address.endsWith(closing) && address.count(closing) > address.count(opening);
    };
    const QStringView endsOfSentences = u".,;:!?'";
    while (!address.isEmpty() && (endsOfSentences.contains(address.back()) ||
                                  isUnopened(u')', u'(') || isUnopened(u']', u'['))) {
        address.chop(1);
    }
    return address;
}

/// Empty unless the address can be shown and opened as it stands.
QUrl urlOf(QStringView address)
{
    constexpr qsizetype maxLength = 300;
    if (address.size() > maxLength) {
        return {};
    }
    const QUrl url(address.toString(), QUrl::StrictMode);
    return url.isValid() && !url.host().isEmpty() && url.userInfo().isEmpty() ? url : QUrl();
}

} // namespace

QUrl webAddressIn(const QString& line, qsizetype position)
{
    // Followed by a letter of another script, it would be a part of some other address.
    static const QRegularExpression pattern(
        QStringLiteral(
            R"((?<![\p{L}\p{N}])https?://[-\w.~:/?#\[\]@!$&'()*+,;=%]++(?![\p{L}\p{N}\p{M}\p{Cf}\p{Co}\p{Cs}]))"),
        QRegularExpression::CaseInsensitiveOption);
    QUrl first;
    auto matches = pattern.globalMatch(line);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        const QStringView address = withoutPunctuation(match.capturedView());
        QUrl url = urlOf(address);
        if (url.isEmpty()) {
            continue;
        }
        const qsizetype begin = match.capturedStart();
        if (position < 0 || (position >= begin && position < begin + address.size())) {
            return url;
        }
        if (first.isEmpty()) {
            first = url;
        }
    }
    return first;
}

} // namespace wingbell
