/* Runs a fuzz target over the files of directories: what fuzzing has found stays found, without the fuzzer. */
#include <fstream>
#include <iterator>

#include "fuzzTarget.h"

int main(int argumentCount, char** arguments) {
    int count = 0;
    for (int i = 1; i < argumentCount; ++i)
        for (const auto& entry : std::filesystem::directory_iterator(arguments[i])) {
            if (!entry.is_regular_file()) continue;
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string input{std::istreambuf_iterator<char>(file), {}};
            std::printf("%s\n", entry.path().c_str());
            std::fflush(stdout);
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
            ++count;
        }
    std::printf("%d inputs\n", count);
    return count == 0 ? 1 : 0;
}
