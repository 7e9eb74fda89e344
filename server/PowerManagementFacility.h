#pragma once

#include "server/ServiceFacility.h"

namespace wingbell {

/// The desktop's power manager, as KDE and XFCE have one.
class PowerManagementFacility final : public ServiceFacility
{
    Q_OBJECT

public:
    /// Whose power manager is meant: XFCE's keeps the display lit as well, the others' do not.
    enum class Desktop { Xfce, Other };

    /// Only the power manager of that desktop suits.
    PowerManagementFacility(Desktop desktop, std::chrono::milliseconds patience);

private:
    [[nodiscard]] BusCall inhibitCall(const QString& reason) const override;
    [[nodiscard]] bool keepHandle(BusMessage& answer) override;
    [[nodiscard]] std::optional<BusCall> takeReleaseCall() override;

    std::optional<quint32> m_cookie;
};

} // namespace wingbell
