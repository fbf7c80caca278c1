#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "harness/ChildProcess.h"
#include "simulator/usb/UsbBus.h"

/// The `main` of a benchmark on an emulated bus: the benchmarks run in a child of the program, which sees
/// the bus that `plug` filled through the real libusb. Returns the exit status.
inline int RunBenchmarksOnBus(int argc, char** argv, void (*plug)(simulator::UsbBus&)) {
    constexpr const char* kInChild = "--on-the-emulated-bus";
    if (argc >= 2 && std::strcmp(argv[argc - 1], kInChild) == 0) {
        --argc;
        benchmark::Initialize(&argc, argv);
        benchmark::RunSpecifiedBenchmarks();
        return 0;
    }
    simulator::UsbBus bus;
    plug(bus);
    std::vector<std::string> words(argv, argv + argc);
    words[0] = "/proc/self/exe";
    words.emplace_back(kInChild);
    ChildProcess child(words, bus.ChildEnvironment());
    const int status = child.WaitForEnd();
    std::fputs(child.Output().c_str(), stdout);
    return status;
}
