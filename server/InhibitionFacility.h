#pragma once

#include <QObject>
#include <QString>

namespace wingbell {

/// One service that can be asked to keep the computer awake, and one inhibition taken from it.
///
/// User-interface thread only. No call waits. Destroying the facility asks for nothing more; what
/// was held ends with it.
class InhibitionFacility : public QObject
{
    Q_OBJECT

public:
    InhibitionFacility() = default;
    Q_DISABLE_COPY_MOVE(InhibitionFacility)
    ~InhibitionFacility() override = default;

    /// Asks for the inhibition, with `reason` for a person to read; taken() or failed() follows.
    /// To be called when nothing was asked for yet, after available(), or after released().
    virtual void take(const QString& reason) = 0;

    /// Gives back what is held or is yet to be granted; released() follows, perhaps at once.
    virtual void release() = 0;

Q_SIGNALS:
    void taken();
    /// The inhibition was not granted, or it was held and the service is gone.
    void failed();
    /// After failed(): asking once more is worth while.
    void available();
    /// Nothing is held, awaited or watched any more.
    void released();
};

} // namespace wingbell
