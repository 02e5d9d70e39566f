// The editor window's start: Fill of a 181 x 361 record into the editor state alone and into
// the whole window, and "START" to the window shown (the start sequence). Goals on the
// project's 2-core machine: Fill under 100 ms, "START" to shown under 150 ms.

#include <benchmark/benchmark.h>

#include "qtbenchmain.h"

#include <QApplication>

#include <cmath>

#include "core/editorstate.h"
#include "core/prompter.h"
#include "editor/frmedit.h"
#include "host/settingsstore.h"
#include "host/startup.h"

namespace {

using namespace kandor;

IesRecord makeWeb(int numVert, int numHorz) {
    IesRecord r;
    r.Filename = "/bench/web.ies";
    r.Keywords = {"IESNA:LM-63-2002", "[TEST] bench", "[TESTLAB] b", "[ISSUEDATE] b",
                  "[MANUFAC] b"};
    r.OtherData = {1, 10000, 1, 0, 0, 1, 2, 0.5f, 0.5f, 0, 1, 80};
    r.resizeGrid(numVert, numHorz);
    for (int v = 1; v <= numVert; ++v)
        r.VertAngles(v) = static_cast<float>(180.0 * (v - 1) / (numVert - 1));
    for (int h = 1; h <= numHorz; ++h)
        r.HorAngles(h) = static_cast<float>(360.0 * (h - 1) / (numHorz - 1));
    for (int h = 1; h <= numHorz; ++h)
        for (int v = 1; v <= numVert; ++v)
            r.Candela(h, v) = std::round(1000.0 * (h + v)) / 1000;
    return r;
}

class NoHelp final : public HelpOpener {
  public:
    bool openTopic(int) override { return true; }
};

void BM_FillState(benchmark::State& state) {
    const IesRecord record = makeWeb(181, 361);
    SilentPrompter prompter;
    for (auto _ : state) {
        EditorState form;
        benchmark::DoNotOptimize(Fill(record, form, prompter));
    }
}
BENCHMARK(BM_FillState)->Unit(benchmark::kMillisecond);

struct Window {
    MemorySettingsStore store;
    ToolState tool;
    RecordList list;
    SilentPrompter prompter;
    NoHelp help;
    Window() { list.add(makeWeb(181, 361)); }
    EditorContext context() {
        return {store, tool, list, prompter, help, {}, [] {}, 0};
    }
};

void BM_FillWindow(benchmark::State& state) {
    Window w;
    frmEdit form(w.context());
    form.loadForm();
    for (auto _ : state) {
        form.fillFromRecord();
        QApplication::processEvents();
    }
}
BENCHMARK(BM_FillWindow)->Unit(benchmark::kMillisecond);

// "START" to the window on screen: the start sequence on a loaded, hidden form.
void BM_StartToShown(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        Window w;
        auto form = std::make_unique<frmEdit>(w.context());
        form->loadForm();
        EditCore core(w.store, w.tool, w.list, *form, w.prompter);
        state.ResumeTiming();
        core.gfnDoStuff();
        QApplication::processEvents();
        state.PauseTiming();
        form.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_StartToShown)->Unit(benchmark::kMillisecond)->Iterations(10);

}  // namespace

int main(int argc, char** argv) {
    return runWidgetBenchmarks(argc, argv);
}
