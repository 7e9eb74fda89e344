#include "tests/TestProgram.h"

#include <cstdio>
#include <map>
#include <string>

namespace wingbell::testing {
namespace {

std::map<std::string, RunTest>& tests()
{
    static std::map<std::string, RunTest> all;
    return all;
}

} // namespace

bool addTest(const char* name, RunTest run)
{
    return tests().emplace(name, run).second;
}

} // namespace wingbell::testing

int main(int argc, char** argv)
{
    const auto& tests = wingbell::testing::tests();
    const auto chosen = tests.find(argc > 1 ? argv[1] : "");
    if (chosen == tests.end()) {
        std::fprintf(
            stderr, "usage: %s TEST [arguments of Qt Test], where TEST is one of:\n", argv[0]);
        for (const auto& [name, run] : tests) {
            std::fprintf(stderr, "  %s\n", name.c_str());
        }
        return 2;
    }
    argv[1] = argv[0]; // Qt Test reads from its own name on
    return chosen->second(argc - 1, argv + 1);
}
