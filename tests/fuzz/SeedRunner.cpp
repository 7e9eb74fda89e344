// Stands in for the fuzzing engine where there is none: runs the fuzzer once on each file of the
// folder that is its argument, so that every input that ever was a find is tried with every build.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

/// Of exactly the file's size, so that a sanitizer sees a byte too far.
std::vector<std::uint8_t> bytesOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    std::vector<std::uint8_t> bytes(
        (std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    bytes.shrink_to_fit();
    return bytes;
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 2) {
        (void)std::fputs("Give the folder with the inputs.\n", stderr);
        return 2;
    }
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
        (void)std::printf("%s\n", entry.path().filename().c_str());
        (void)std::fflush(stdout); // the last name tells which input it was
        const std::vector<std::uint8_t> bytes = bytesOf(entry.path());
        (void)LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        ++files;
    }
    return files > 0 ? 0 : 1;
}
