// Plays the files of a directory to a fuzz target, where no fuzzer is linked.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const std::filesystem::path corpus(argv[1]);
    if (LLVMFuzzerInitialize != nullptr && LLVMFuzzerInitialize(&argc, &argv) != 0) return 2;
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(corpus)) {
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(in), {}};
        // The name is what is left to look at when an input ends the process.
        std::fprintf(stderr, "%s\n", entry.path().filename().c_str());
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
        ++files;
    }
    return files == 0 ? 1 : 0;
}
