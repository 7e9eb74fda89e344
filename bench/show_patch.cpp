// How long the server takes to read a show in which very many names are of no channel.
#include "relay/sessions/ShowPatch.h"

#include <chrono>
#include <cstdio>

using namespace wingbell;

int main()
{
    std::printf("a show with unknown channel names, read in ms\n");
    for (const int count : {10'000, 20'000, 40'000, 80'000}) {
        Role role;
        for (int number = 0; number < count; ++number) {
            role.talk.append(QStringLiteral("Channel %1").arg(number));
        }
        ShowFile show;
        show.roles = {role};
        const auto begin = std::chrono::steady_clock::now();
        const std::size_t unknown = ShowPatch(show).unknownChannels().size();
        const std::chrono::duration<double, std::milli> spent =
            std::chrono::steady_clock::now() - begin;
        std::printf("%8zu%10.1f\n", unknown, spent.count());
    }
    return 0;
}
