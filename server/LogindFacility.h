#pragma once

#include "model/FileDescriptor.h"
#include "server/ServiceFacility.h"

namespace wingbell {

/// The system's login manager, which holds back sleep, asked for or not, as long as a descriptor of
/// its own making stays open.
class LogindFacility final : public ServiceFacility
{
    Q_OBJECT

public:
    explicit LogindFacility(std::chrono::milliseconds patience);

private:
    [[nodiscard]] BusCall inhibitCall(const QString& reason) const override;
    [[nodiscard]] bool keepHandle(BusMessage& answer) override;
    [[nodiscard]] std::optional<BusCall> takeReleaseCall() override;

    FileDescriptor m_lock;
};

} // namespace wingbell
