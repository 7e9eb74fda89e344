#pragma once

#include "relay/audio/MixEncoder.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace wingbell {

/// The encoders of a mixer. In each cycle listeners that hear the same mix form a group, and each
/// group has one encoder for all of them.
///
/// A listener can only go on with the encoder it heard in the cycle before, or with a copy of it;
/// to any other it has to change, which puts some quality at risk. So that few listeners change, a
/// group keeps the encoder that most of its listeners used; if several groups want the same one,
/// the largest keeps it and each other one gets a copy. Allocates only when built. Not thread-safe.
class EncoderPool
{
public:
    /// For `listeners` listeners, from 0 on.
    explicit EncoderPool(std::size_t listeners);

    /// There must be one encoder for each listener that is in a group.
    void add(std::unique_ptr<MixEncoder> encoder);

    /// Takes away an encoder that no listener uses; there must be one.
    [[nodiscard]] std::unique_ptr<MixEncoder> takeUnused();

    /// The encoder whose packet `listener` heard last, by its number; nullopt after release().
    [[nodiscard]] std::optional<std::size_t> usedBy(std::size_t listener) const;

    /// Whether the encoder with this number has encoded silence for so long that it can be
    /// released.
    [[nodiscard]] bool hasFadedOut(std::size_t encoder) const;

    /// `listener` hears no encoder any more; it is silent or gone.
    void release(std::size_t listener);

    /// The group of a listener that is in none.
    static constexpr std::size_t noGroup = static_cast<std::size_t>(-1);

    /// Gives each group its encoder for this cycle. `groups`: the group of each listener, from 0 to
    /// `count` - 1, or noGroup.
    void assign(std::span<const std::size_t> groups, std::size_t count);

    /// The encoder of a group, until the next assign().
    [[nodiscard]] MixEncoder& encoderOf(std::size_t group);

private:
    /// How many listeners of a group used an encoder in the cycle before.
    struct Claim
    {
        std::size_t group = 0;
        std::size_t encoder = 0;
        std::size_t listeners = 0;
    };

    struct Group
    {
        const Claim* claim = nullptr; ///< the one of most listeners
        std::optional<std::size_t> encoder;
    };

    void collectClaims(std::span<const std::size_t> groups);
    void keepEncoders();
    void fillUp();
    void changeListeners(std::span<const std::size_t> groups);

    std::vector<std::unique_ptr<MixEncoder>> m_encoders;
    std::vector<std::optional<std::size_t>> m_used; ///< the encoder of each listener
    std::vector<Group> m_groups;                    ///< of this cycle
    std::vector<Claim> m_claims;
    std::vector<const Claim*> m_owners; ///< of each encoder, the claim of the group that keeps it
};

} // namespace wingbell
