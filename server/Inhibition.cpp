#include "server/Inhibition.h"

#include <algorithm>
#include <utility>

namespace wingbell {

Inhibition::Inhibition(InhibitionFacilities facilities, QString reason, QObject* parent)
    : QObject(parent)
    , m_reason(std::move(reason))
{
    m_candidates.reserve(facilities.size());
    for (auto& facility : facilities) {
        m_candidates.push_back({.facility = std::move(facility)});
    }
    for (Candidate& candidate : m_candidates) {
        follow(candidate);
    }
    askBest();
}

void Inhibition::follow(Candidate& candidate)
{
    const InhibitionFacility* facility = candidate.facility.get();
    const auto stand = [this, &candidate](Standing standing) {
        if (candidate.standing != Standing::Leaving) {
            candidate.standing = standing;
            releaseAfterHeld();
            askBest();
        }
    };
    connect(facility, &InhibitionFacility::taken, this, [stand] { stand(Standing::Held); });
    connect(facility, &InhibitionFacility::failed, this, [stand] { stand(Standing::Failed); });
    connect(
        facility, &InhibitionFacility::available, this, [stand] { stand(Standing::Untouched); });
    connect(facility, &InhibitionFacility::released, this, [this, &candidate] {
        candidate.standing = Standing::Untouched;
        askBest();
        finishWhenAllReleased();
    });
}

void Inhibition::askBest()
{
    if (!m_wanted) {
        return;
    }
    for (Candidate& candidate : m_candidates) {
        switch (candidate.standing) {
        case Standing::Untouched:
            candidate.standing = Standing::Asked;
            candidate.facility->take(m_reason);
            return;
        case Standing::Asked:
        case Standing::Held:
            return;
        case Standing::Failed:
        case Standing::Leaving:
            break;
        }
    }
}

/// One holder is enough.
void Inhibition::releaseAfterHeld()
{
    const auto isHeld = [](const Candidate& candidate) {
        return candidate.standing == Standing::Held;
    };
    const auto holder = std::find_if(m_candidates.begin(), m_candidates.end(), isHeld);
    if (holder == m_candidates.end()) {
        return;
    }
    std::for_each(std::next(holder), m_candidates.end(), [this](Candidate& candidate) {
        if (candidate.standing == Standing::Asked || candidate.standing == Standing::Held) {
            releaseCandidate(candidate);
        }
    });
}

void Inhibition::release()
{
    m_wanted = false;
    for (Candidate& candidate : m_candidates) {
        if (candidate.standing != Standing::Untouched) {
            releaseCandidate(candidate);
        }
    }
    finishWhenAllReleased();
}

void Inhibition::releaseCandidate(Candidate& candidate)
{
    if (candidate.standing != Standing::Leaving) {
        candidate.standing = Standing::Leaving;
        candidate.facility->release();
    }
}

void Inhibition::finishWhenAllReleased()
{
    const bool allReleased =
        std::all_of(m_candidates.begin(), m_candidates.end(), [](const Candidate& candidate) {
            return candidate.standing == Standing::Untouched;
        });
    if (!m_wanted && allReleased) {
        Q_EMIT finished();
    }
}

} // namespace wingbell
