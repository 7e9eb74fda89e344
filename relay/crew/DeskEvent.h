#pragma once

#include <QList>
#include <QStringList>

namespace wingbell {

/// What goes on on the channels of one listener's role, in their order.
struct DeskEvent
{
    struct Channel
    {
        QStringList talking; ///< names of the others' roles
        bool announcing = false;

        friend bool operator==(const Channel&, const Channel&) = default;
    };

    QList<Channel> channels;

    friend bool operator==(const DeskEvent&, const DeskEvent&) = default;
};

} // namespace wingbell
