#pragma once

#include <QByteArray>
#include <QString>

namespace wingbell {

/// Brings the page's answer to the offer of media.
struct AnswerRequest
{
    QString session;
    QByteArray answer; ///< SDP as it came: UTF-8, nothing else is known of it

    friend bool operator==(const AnswerRequest&, const AnswerRequest&) = default;
};

} // namespace wingbell
