#pragma once

#include "server/ServiceFacility.h"

namespace wingbell {

/// The session manager of GNOME, Cinnamon and MATE. Forbids suspending and nothing else.
class SessionManagerFacility final : public ServiceFacility
{
    Q_OBJECT

public:
    explicit SessionManagerFacility(std::chrono::milliseconds patience);

private:
    [[nodiscard]] BusCall inhibitCall(const QString& reason) const override;
    [[nodiscard]] bool keepHandle(BusMessage& answer) override;
    [[nodiscard]] std::optional<BusCall> takeReleaseCall() override;

    std::optional<quint32> m_cookie;
};

} // namespace wingbell
