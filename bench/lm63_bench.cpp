// Throughput of the LM-63 reader and writer, each beside a baseline that does only the unavoidable
// part of its work (tokenising and converting the numbers, or formatting them) with the
// standard library's fastest conversions. The goal is each within twice its baseline.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "core/iesreader.h"
#include "core/iesrecord.h"
#include "core/prompter.h"
#include "core/saveies.h"

namespace {

using kandor::IesReader;
using kandor::IesRecord;

// A full Type C web of a road luminaire: 181 vertical by 361 horizontal angles, a smooth,
// asymmetric distribution with three decimals, as instruments export it.
IesRecord makeGridRecord() {
    IesRecord r;
    r.Filename = "bench.ies";
    for (const char* line :
         {"IESNA:LM-63-2002", "[TEST] B-4711", "[TESTLAB] Bench lab", "[ISSUEDATE] 22-NOV-2026",
          "[MANUFAC] Bench Lighting", "[LUMCAT] RX-181-361", "[LUMINAIRE] Road luminaire",
          "[LAMP] LED module 4000K", "[_SERIAL] 0042"})
        r.Keywords.append(line);
    r.resizeGrid(181, 361);
    r.OtherData.numLamps = 1;
    r.OtherData.lumensPerLamp = -1;
    r.OtherData.multiplier = 1;
    r.OtherData.photometricType = 1;
    r.OtherData.unitsType = 2;
    r.OtherData.width = 0.32f;
    r.OtherData.length = 0.64f;
    r.OtherData.ballastFactor = 1;
    r.OtherData.inputWatts = 86.5f;
    for (int v = 1; v <= 181; ++v)
        r.VertAngles(v) = static_cast<float>(v - 1);
    for (int h = 1; h <= 361; ++h)
        r.HorAngles(h) = static_cast<float>(h - 1);
    const double pi = std::acos(-1.0);
    for (int h = 1; h <= 361; ++h) {
        const double c = (h - 1) * pi / 180;
        for (int v = 1; v <= 181; ++v) {
            const double g = (v - 1) * pi / 180;
            double cd = 0;
            if (g < pi / 2) {
                cd = 4200 * std::pow(std::cos(g), 1.3) * (1 + 0.35 * std::cos(2 * c)) *
                         (1 + 0.6 * std::sin(g) * std::cos(c)) +
                     15;
            } else {
                cd = 15 * std::cos(g - pi / 2);
            }
            r.Candela(h, v) = std::round(cd * 1000) / 1000;
        }
    }
    return r;
}

std::vector<std::string> loadCorpus() {
    std::vector<std::string> texts;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(KANDOR_CORPUS_DIR, ec)) {
        std::string ext = entry.path().extension().string();
        std::transform(ext.begin(), ext.end(), ext.begin(),
                       [](unsigned char ch) { return static_cast<char>(std::tolower(ch)); });
        if (ext != ".ies") continue;
        std::ifstream in(entry.path(), std::ios::binary);
        texts.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    std::sort(texts.begin(), texts.end());
    return texts;
}

struct Fixture {
    IesRecord grid = makeGridRecord();
    std::string gridText;
    std::vector<std::string> corpus = loadCorpus();
    std::vector<IesRecord> corpusRecords;
    std::size_t corpusBytes = 0;
    std::size_t corpusComposedBytes = 0;

    Fixture() {
        kandor::SilentPrompter silent;
        kandor::SaveIES writer;
        gridText = writer.Compose(grid, silent);
        for (const std::string& text : corpus) {
            corpusBytes += text.size();
            IesRecord record;
            IesReader reader;
            reader.ParseIes(record, text, false, text);
            corpusComposedBytes += writer.Compose(record, silent).size();
            corpusRecords.push_back(std::move(record));
        }
    }
};

const Fixture& fixture() {
    static const Fixture f;
    return f;
}

// --- Reader and its baseline -------------------------------------------------------------------

std::int16_t parse(std::string_view text) {
    IesRecord record;
    IesReader reader;
    return reader.ParseIes(record, text, false, text);
}

bool isSeparator(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == ',';
}

// Skips the header lines up to TILT, then converts every token after it with from_chars.
double tokeniseAndConvert(std::string_view text) {
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t end = std::min(text.find('\r', pos), text.size());
        const bool tilt = text.substr(pos, 5) == "TILT=";
        pos = end;
        while (pos < text.size() && isSeparator(text[pos]))
            ++pos;
        if (tilt) break;
    }
    double sum = 0;
    while (pos < text.size()) {
        std::size_t end = pos;
        while (end < text.size() && !isSeparator(text[end]))
            ++end;
        double value = 0;
        std::from_chars(text.data() + pos, text.data() + end, value);
        sum += value;
        pos = end;
        while (pos < text.size() && isSeparator(text[pos]))
            ++pos;
    }
    return sum;
}

void BM_ReaderGrid(benchmark::State& state) {
    const std::string& text = fixture().gridText;
    for (auto _ : state)
        benchmark::DoNotOptimize(parse(text));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void BM_ReaderGridBaseline(benchmark::State& state) {
    const std::string& text = fixture().gridText;
    for (auto _ : state)
        benchmark::DoNotOptimize(tokeniseAndConvert(text));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void BM_ReaderCorpus(benchmark::State& state) {
    const Fixture& f = fixture();
    for (auto _ : state)
        for (const std::string& text : f.corpus)
            benchmark::DoNotOptimize(parse(text));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * f.corpusBytes));
}

void BM_ReaderCorpusBaseline(benchmark::State& state) {
    const Fixture& f = fixture();
    for (auto _ : state)
        for (const std::string& text : f.corpus)
            benchmark::DoNotOptimize(tokeniseAndConvert(text));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * f.corpusBytes));
}

// --- Writer and its baseline -------------------------------------------------------------------

std::string compose(const IesRecord& record) {
    kandor::SilentPrompter silent;
    static kandor::SaveIES writer;
    return writer.Compose(record, silent);
}

// Formats the record's numbers with to_chars (the shortest form for the header and angles, two
// decimals for the table, or the shortest form there too) into one string with line ends, and
// nothing else.
std::string formatOnly(const IesRecord& r, bool shortestCandela = false) {
    std::string out;
    char buf[400];
    const auto put = [&](auto value, auto... format) {
        const auto res = std::to_chars(buf, buf + sizeof buf, value, format...);
        out.append(buf, res.ptr);
        out += ' ';
    };
    for (const std::string& line : r.Keywords) {
        out += line;
        out += "\r\n";
    }
    const kandor::LampData& d = r.OtherData;
    for (int i : {int{d.numLamps}, int{d.numVertAngles}, int{d.numHorzAngles},
                  int{d.photometricType}, int{d.unitsType}})
        put(i);
    for (float x : {d.lumensPerLamp, d.multiplier, d.width, d.length, d.height, d.ballastFactor,
                    d.inputWatts})
        put(x);
    out += "\r\n";
    for (float x : r.VertAngles)
        put(x);
    out += "\r\n";
    for (float x : r.HorAngles)
        put(x);
    const std::vector<double>& cd = r.Candela.values();
    for (std::size_t i = 0; i < cd.size(); ++i) {
        if (i % static_cast<std::size_t>(std::max(1, r.Candela.cols())) == 0) out += "\r\n";
        if (shortestCandela)
            put(cd[i]);
        else
            put(cd[i], std::chars_format::fixed, 2);
    }
    return out;
}

void BM_WriterGrid(benchmark::State& state) {
    const Fixture& f = fixture();
    for (auto _ : state)
        benchmark::DoNotOptimize(compose(f.grid));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * f.gridText.size()));
}

void BM_WriterGridBaseline(benchmark::State& state) {
    const Fixture& f = fixture();
    for (auto _ : state)
        benchmark::DoNotOptimize(formatOnly(f.grid));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * f.gridText.size()));
}

// The same with the shortest round-trip form for the table: a lower bound for any formatting.
void BM_WriterGridBaselineShortest(benchmark::State& state) {
    const Fixture& f = fixture();
    for (auto _ : state)
        benchmark::DoNotOptimize(formatOnly(f.grid, true));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * f.gridText.size()));
}

void BM_WriterCorpus(benchmark::State& state) {
    const Fixture& f = fixture();
    for (auto _ : state)
        for (const IesRecord& record : f.corpusRecords)
            benchmark::DoNotOptimize(compose(record));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * f.corpusComposedBytes));
}

void BM_WriterCorpusBaseline(benchmark::State& state) {
    const Fixture& f = fixture();
    for (auto _ : state)
        for (const IesRecord& record : f.corpusRecords)
            benchmark::DoNotOptimize(formatOnly(record));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * f.corpusComposedBytes));
}

}  // namespace

BENCHMARK(BM_ReaderGrid)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReaderGridBaseline)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReaderCorpus)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ReaderCorpusBaseline)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WriterGrid)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriterGridBaseline)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriterGridBaselineShortest)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriterCorpus)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WriterCorpusBaseline)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
