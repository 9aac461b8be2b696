#pragma once

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "bench/loads.h"

namespace corvane::bench {

// Measures something over a load, all of which one iteration takes.
using Measurement = void (*)(benchmark::State& state, const sLoad& load);

// Makes it a benchmark of this program, "NAME/LOAD".
void Register(const std::string& name, Measurement measure, const std::shared_ptr<sLoad>& load);

// What a program of benchmarks does whose benchmarks `registerAll` registers. Returns its exit
// code.
[[nodiscard]] int RunBenchmarks(int argc, char** argv, void (*registerAll)());

}  // namespace corvane::bench
