#include "relay/crew/RequestFault.h"

namespace wingbell {

QLatin1String wordFor(RequestFault fault)
{
    switch (fault) {
    case RequestFault::TooLarge:
        return QLatin1String("too-large");
    case RequestFault::NoJson:
        return QLatin1String("no-json");
    case RequestFault::NoObject:
        return QLatin1String("no-object");
    case RequestFault::WrongType:
        return QLatin1String("wrong-type");
    case RequestFault::Missing:
        return QLatin1String("missing");
    case RequestFault::Twice:
        return QLatin1String("twice");
    case RequestFault::OutOfRange:
        return QLatin1String("out-of-range");
    case RequestFault::BadAnswer:
        return QLatin1String("bad-answer");
    case RequestFault::TooLong:
        break;
    }
    return QLatin1String("too-long");
}

} // namespace wingbell
