#include "relay/audio/EncoderPool.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace wingbell {

EncoderPool::EncoderPool(std::size_t listeners)
    : m_used(listeners)
{
    m_encoders.reserve(listeners);
    m_groups.reserve(listeners);
    m_claims.reserve(listeners);
    m_owners.reserve(listeners);
}

void EncoderPool::add(std::unique_ptr<MixEncoder> encoder)
{
    // The numbers of the others stay.
    const auto empty = std::find(m_encoders.begin(), m_encoders.end(), nullptr);
    if (empty != m_encoders.end()) {
        *empty = std::move(encoder);
        return;
    }
    assert(m_encoders.size() < m_used.size());
    m_encoders.push_back(std::move(encoder));
}

std::unique_ptr<MixEncoder> EncoderPool::takeUnused()
{
    for (std::size_t number = m_encoders.size(); number-- > 0;) {
        if (m_encoders[number] && std::find(m_used.begin(), m_used.end(), number) == m_used.end()) {
            return std::move(m_encoders[number]);
        }
    }
    assert(false);
    return nullptr;
}

std::optional<std::size_t> EncoderPool::usedBy(std::size_t listener) const
{
    return m_used[listener];
}

bool EncoderPool::hasFadedOut(std::size_t encoder) const
{
    return m_encoders[encoder]->hasFadedOut();
}

void EncoderPool::release(std::size_t listener)
{
    m_used[listener].reset();
}

void EncoderPool::assign(std::span<const std::size_t> groups, std::size_t count)
{
    m_groups.assign(count, Group());
    collectClaims(groups);
    keepEncoders();
    fillUp();
    changeListeners(groups);
}

void EncoderPool::collectClaims(std::span<const std::size_t> groups)
{
    m_claims.clear();
    for (std::size_t listener = 0; listener < groups.size(); ++listener) {
        const std::size_t group = groups[listener];
        const std::optional<std::size_t> encoder = m_used[listener];
        if (group == noGroup || !encoder) {
            continue;
        }
        const auto found = std::find_if(m_claims.begin(), m_claims.end(), [&](const Claim& claim) {
            return claim.group == group && claim.encoder == *encoder;
        });
        if (found != m_claims.end()) {
            ++found->listeners;
        } else {
            m_claims.push_back({group, *encoder, 1});
        }
    }
}

void EncoderPool::keepEncoders()
{
    const auto isMore = [](const Claim& claim, const Claim* other) {
        return other == nullptr || claim.listeners > other->listeners;
    };
    for (const Claim& claim : m_claims) {
        Group& group = m_groups[claim.group];
        if (isMore(claim, group.claim)) {
            group.claim = &claim;
        }
    }
    m_owners.assign(m_encoders.size(), nullptr);
    for (const Group& group : m_groups) {
        if (group.claim != nullptr && isMore(*group.claim, m_owners[group.claim->encoder])) {
            m_owners[group.claim->encoder] = group.claim;
        }
    }
    for (const Claim* owner : m_owners) {
        if (owner != nullptr) {
            m_groups[owner->group].encoder = owner->encoder;
        }
    }
}

void EncoderPool::fillUp()
{
    std::size_t free = 0;
    for (Group& group : m_groups) {
        if (group.encoder) {
            continue;
        }
        while (m_owners[free] != nullptr || !m_encoders[free]) {
            ++free;
        }
        // An encoder that a group continues is kept by another one, so it is not overwritten.
        if (group.claim != nullptr) {
            m_encoders[free]->continueFrom(*m_encoders[group.claim->encoder]);
        } else {
            m_encoders[free]->reset();
        }
        group.encoder = free;
        ++free;
    }
}

void EncoderPool::changeListeners(std::span<const std::size_t> groups)
{
    for (std::size_t listener = 0; listener < groups.size(); ++listener) {
        if (groups[listener] == noGroup) {
            continue;
        }
        const Group& group = m_groups[groups[listener]];
        if (group.claim != nullptr && m_used[listener] != group.claim->encoder) {
            m_encoders[*group.encoder]->beginIndependent();
        }
        m_used[listener] = group.encoder;
    }
}

MixEncoder& EncoderPool::encoderOf(std::size_t group)
{
    return *m_encoders[*m_groups[group].encoder];
}

} // namespace wingbell
