#include "relay/api/AnswerReading.h"
#include "tests/fuzz/Check.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

using namespace wingbell;

namespace {

bool isPlain(char character)
{
    return character == '\r' || character == '\n' || (character >= ' ' && character <= '~');
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto reading = readMediaAnswer(QByteArrayView(data, static_cast<qsizetype>(size)));
    if (const auto* problem = std::get_if<QString>(&reading)) {
        check(!problem->isEmpty(), "a refusal has a reason");
        return 0;
    }
    const auto& answer = std::get<MediaAnswer>(reading);
    const QByteArray plain = canonicalAnswer(answer, "audio0");
    constexpr qsizetype lines = 16;
    check(plain.count('\n') == lines && plain.count('\r') == lines, "no line was smuggled in");
    check(std::all_of(plain.begin(), plain.end(), isPlain), "nothing but plain characters passes");
    const auto again = readMediaAnswer(plain);
    check(
        std::holds_alternative<MediaAnswer>(again) && std::get<MediaAnswer>(again) == answer,
        "the plain answer says the same");
    return 0;
}
