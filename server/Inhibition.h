#pragma once

#include "server/InhibitionFacility.h"

#include <QObject>
#include <QString>

#include <memory>
#include <vector>

namespace wingbell {

/// The ways to keep the computer awake, the preferred one first.
using InhibitionFacilities = std::vector<std::unique_ptr<InhibitionFacility>>;

/// One wish to keep the computer awake: held by the best facility that grants it, until released.
///
/// A facility that failed is passed over until it says that it is available; one that is preferred
/// to the holder is taken before the holder is released. User-interface thread only.
class Inhibition : public QObject
{
    Q_OBJECT

public:
    /// Asks the first facility at once.
    Inhibition(InhibitionFacilities facilities, QString reason, QObject* parent = nullptr);

    /// Has every facility give back what it holds or is still granted; finished() follows, perhaps
    /// at once.
    void release();

Q_SIGNALS:
    /// Released, with nothing open any more.
    void finished();

private:
    enum class Standing {
        Untouched, ///< may be asked
        Asked,
        Held,
        Failed,
        Leaving, ///< told to release
    };
    struct Candidate
    {
        std::unique_ptr<InhibitionFacility> facility;
        Standing standing = Standing::Untouched;
    };

    void follow(Candidate& candidate);
    void askBest();
    void releaseAfterHeld();
    void releaseCandidate(Candidate& candidate);
    void finishWhenAllReleased();

    std::vector<Candidate> m_candidates; ///< not resized after construction
    QString m_reason;
    bool m_wanted = true;
};

} // namespace wingbell
