#include "Comparison.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <map>
#include <numeric>

namespace Zel::Benchmarks
{

namespace
{

/// Keeps each round's time by contender, and prints nothing.
class RoundCollector : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context& /*context*/) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const auto& run : runs)
        {
            if (run.run_type == Run::RT_Iteration)
            {
                times[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
            }
        }
    }

    std::map<String, std::vector<double>> times;
};

void InitializeOnce()
{
    static const bool isInitialized = []
    {
        String program = "benchmark";
        String interleaving = "--benchmark_enable_random_interleaving=true";
        std::array<char*, 3> arguments{program.data(), interleaving.data(), nullptr};
        int count = 2;
        benchmark::Initialize(&count, arguments.data());
        return true;
    }();
    static_cast<void>(isInitialized);
}

double TimeOnce(const Contender& contender)
{
    if (contender.prepare)
    {
        contender.prepare();
    }
    const auto begin = std::chrono::steady_clock::now();
    contender.work();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - begin).count();
}

} // namespace

Medians CompareProcessorTime(const std::vector<Contender>& contenders, const Effort& effort)
{
    InitializeOnce();
    benchmark::ClearRegisteredBenchmarks();
    for (const auto& contender : contenders)
    {
        auto* const registered = benchmark::RegisterBenchmark(contender.name.c_str(),
                                                              [&contender](benchmark::State& state)
                                                              {
                                                                  for ([[maybe_unused]] auto _ : state)
                                                                  {
                                                                      contender.work();
                                                                  }
                                                              });
        registered->Repetitions(effort.rounds)->MinTime(effort.roundSeconds);
    }
    RoundCollector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    Medians medians;
    for (const auto& contender : contenders)
    {
        medians.push_back(Median(collector.times.at(contender.name)));
    }
    return medians;
}

Medians CompareElapsedTime(const std::vector<Contender>& contenders, const Effort& effort)
{
    std::vector<std::size_t> order(contenders.size());
    std::iota(order.begin(), order.end(), 0U);
    std::vector<std::vector<double>> times(contenders.size());
    for (int round = 0; round <= effort.rounds; ++round)
    {
        for (const auto index : order)
        {
            const double time = TimeOnce(contenders[index]);
            if (round > 0)
            {
                times[index].push_back(time);
            }
        }
        std::ranges::reverse(order);
    }
    Medians medians;
    std::ranges::transform(times, std::back_inserter(medians), &Median);
    return medians;
}

double Median(std::vector<double> values)
{
    std::ranges::sort(values);
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

} // namespace Zel::Benchmarks
