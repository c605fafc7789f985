// Parsing a large configuration text: 10,000 lines cycling through the saved line of every property.

#include <benchmark/benchmark.h>

#include <sstream>
#include <string>
#include <vector>

#include "lumora/settings/conf.hpp"
#include "lumora/settings/property_descriptor.hpp"

namespace {

std::string makeConfText(int lineCount) {
    lumora::Settings defaults;
    std::ostringstream saved;
    lumora::Conf::save(defaults, saved, {});

    std::vector<std::string> lines;
    std::istringstream in(saved.str());
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    std::string text;
    for (int i = 0; i < lineCount; ++i) {
        text += lines[static_cast<std::size_t>(i) % lines.size()];
        text += '\n';
    }
    return text;
}

void BM_ParseConfText(benchmark::State& state) {
    const int lineCount = static_cast<int>(state.range(0));
    const std::string text = makeConfText(lineCount);
    for (auto _ : state) {
        lumora::Settings settings;
        std::istringstream stream(text);
        lumora::Conf::parse(stream, {}, settings, nullptr, {});
        benchmark::DoNotOptimize(settings.getFloat(lumora::PropertyId::colorMapGamma));
    }
    state.SetItemsProcessed(state.iterations() * lineCount);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_ParseConfText)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
