// Loading a package of 64 MiB, and the passes over its bytes one by one, beside memcpy of as many bytes in
// the same run. The peak memory of a load is that of a child process which does nothing else.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "package/EncryptionMode1.h"
#include "package/EncryptionPSW.h"
#include "package/ModuleData.h"
#include "package/PSWFile.h"

namespace {

constexpr std::size_t kSize = std::size_t{64} << 20;
constexpr int kLength = static_cast<int>(kSize);
constexpr int kOddKey = 0x5B;
constexpr int kEvenKey = 0xA6;
const char* const kLoadOption = "--load";

using Bytes = std::vector<unsigned char>;

Bytes Counting() {
    Bytes bytes(kSize);
    for (std::size_t i = 0; i < kSize; ++i) bytes[i] = static_cast<unsigned char>((i * 31 + i / 256) & 0xFF);
    return bytes;
}

void PutBigEndian(Bytes& bytes, std::size_t offset, std::size_t value) {
    for (std::size_t i = 0; i < 4; ++i)
        bytes[offset + i] = static_cast<unsigned char>(value >> (24 - 8 * i) & 0xFF);
}

// A new-form package: printer, software, `modules` modules that share the payload among them, and the
// payload.
Bytes Package(int key, std::size_t modules) {
    const std::size_t start = 32 * (2 + modules) + 5;
    Bytes package = Counting();
    EncryptionPSW::EncryptionBuffer(key, package.data(), static_cast<int>(start),
                                    kLength - static_cast<int>(start));
    std::memset(package.data(), 0, start);
    package[0] = 'P';
    package[23] = static_cast<unsigned char>(key);
    package[24] = '2';
    package[32] = 's';
    package[32 + 11] = 0xAA;
    const std::size_t share = modules == 0 ? 0 : (kSize - start) / modules;
    for (std::size_t i = 0; i < modules; ++i) {
        unsigned char* const record = package.data() + 64 + 32 * i;
        record[0] = 'm';
        record[1] = i == 0 ? 's' : 'd';
        PutBigEndian(package, 64 + 32 * i + 4, start + i * share);
        PutBigEndian(package, 64 + 32 * i + 8, share);
    }
    package[start - 5] = '?';
    PutBigEndian(package, start - 4, kSize - start);
    return package;
}

class PackageFile {
 public:
    PackageFile(int key, std::size_t modules) {
        const Bytes package = Package(key, modules);
        std::ofstream file(name_, std::ios::binary);
        file.write(reinterpret_cast<const char*>(package.data()),
                   static_cast<std::streamsize>(package.size()));
    }
    PackageFile(const PackageFile&) = delete;
    PackageFile& operator=(const PackageFile&) = delete;
    ~PackageFile() { unlink(name_.c_str()); }
    const char* Name() const { return name_.c_str(); }

 private:
    std::string name_ = "/tmp/package-bench-" + std::to_string(getpid()) + ".psw";
};

// Peak memory in bytes of a process that loads the file; 0 when it could not.
double PeakMemory(const char* name) {
    const pid_t child = fork();
    if (child == 0) {
        execl("/proc/self/exe", "package_bench", kLoadOption, name, nullptr);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0) return 0;
    return static_cast<double>(usage.ru_maxrss) * 1024;
}

void Processed(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kSize));
}

void Memcpy(benchmark::State& state) {
    const Bytes from = Counting();
    Bytes to(kSize);
    for ([[maybe_unused]] auto turn : state) {
        std::memcpy(to.data(), from.data(), kSize);
        benchmark::ClobberMemory();
    }
    Processed(state);
}

void LoadPackage(benchmark::State& state) {
    const PackageFile file(static_cast<int>(state.range(0)), static_cast<std::size_t>(state.range(1)));
    const double peak = PeakMemory(file.Name());
    for ([[maybe_unused]] auto turn : state) {
        PSWFile package;
        if (!package.LoadPSWFromFile(file.Name(), true)) state.SkipWithError("the package was not loaded");
    }
    Processed(state);
    state.counters["peak_MiB"] = peak / (1 << 20);
    state.counters["peak_per_byte"] = peak / static_cast<double>(kSize);
}

template <class Scheme>
void Descramble(benchmark::State& state) {
    Bytes bytes = Counting();
    for ([[maybe_unused]] auto turn : state) {
        Scheme::DecryptionBuffer(static_cast<int>(state.range(0)), bytes.data(), 0, kLength);
        benchmark::ClobberMemory();
    }
    Processed(state);
}

void Checksums(benchmark::State& state) {
    const Bytes bytes = Counting();
    for ([[maybe_unused]] auto turn : state)
        benchmark::DoNotOptimize(ModuleChecksums::Of({bytes.data(), bytes.size()}));
    Processed(state);
}

BENCHMARK(Memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(LoadPackage)
    ->ArgNames({"key", "modules"})
    ->Args({kOddKey, 0})
    ->Args({kEvenKey, 0})
    ->Args({kOddKey, 4})
    ->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(Descramble, EncryptionPSW)
    ->ArgName("key")
    ->Arg(kOddKey)
    ->Arg(kEvenKey)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(Descramble, EncryptionMode1)->ArgName("key")->Arg(kOddKey)->Unit(benchmark::kMillisecond);
BENCHMARK(Checksums)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], kLoadOption) == 0) {
        PSWFile package;
        return package.LoadPSWFromFile(argv[2], true) ? 0 : 1;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
