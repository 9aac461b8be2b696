#include "bench/load_benchmarks.h"

namespace corvane::bench {

void Register(const std::string& name, Measurement measure, const std::shared_ptr<sLoad>& load) {
  benchmark::RegisterBenchmark((name + "/" + load->name).c_str(),
                               [measure, load](benchmark::State& state) { measure(state, *load); });
}

int RunBenchmarks(int argc, char** argv, void (*registerAll)()) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  registerAll();
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}

}  // namespace corvane::bench
