#include "model/ShowFile.h"
#include "tests/fuzz/Check.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>

using namespace wingbell;

namespace {

/// Roles get fresh identities with every reading; all else of them is theirs.
bool sameRole(const Role& one, const Role& other)
{
    return one.name == other.name && one.talk == other.talk && one.listen == other.listen;
}

bool sameShow(const ShowFile& one, const ShowFile& other)
{
    return one.show == other.show && one.channels == other.channels &&
           one.oscPort == other.oscPort &&
           std::equal(
               one.roles.cbegin(), one.roles.cend(), other.roles.cbegin(), other.roles.cend(),
               sameRole);
}

void checkShow(const ShowFile& show)
{
    const std::optional<QByteArray> written = encodeShow(show);
    check(written.has_value(), "what was read can be written");
    const auto again = decodeShow(*written);
    check(again.has_value(), "what was written can be read");
    check(sameShow(show, *again), "a show survives a save and a load");
    check(encodeShow(*again) == written, "a second save writes the same");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray document(
        reinterpret_cast<const char*>(data),
        static_cast<qsizetype>(size)); // NOLINT(*-reinterpret-cast)
    const auto show = decodeShow(document);
    if (show) {
        check(nlohmann::json::accept(document.cbegin(), document.cend()), "a show is JSON");
        checkShow(*show);
        return 0;
    }
    check(!show.error().reason.isEmpty(), "there is a reason why there is no show");
    check(!show.error().reason.contains(QLatin1Char('\n')), "a reason is one line");
    return 0;
}
