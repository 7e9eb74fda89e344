#include "panels/setup/ChannelName.h"

#include "model/HorizontalSpace.h"

namespace wingbell {

bool ChannelName::isBlank(const QString& name)
{
    return trimmedOfHorizontalSpace(name).isEmpty();
}

} // namespace wingbell
