// The editor's interactive costs on large tables: one keystroke in txtMultiplier that rescales
// every candela value (with the grid's refresh, the plot's repaint and the photometric figures
// of the candela tab's panel recomputed), pasting a whole
// table, and one redraw of the polar plot. Goals on a 181 x 361 web: a keystroke and a plot
// redraw within a 60 Hz frame (16 ms), a paste of 65,341 values within 100 ms. The 721 x 1441
// near-field web has no goal; it is measured to see that the window stays responsive.

#include <benchmark/benchmark.h>

#include "qtbenchmain.h"

#include <QApplication>
#include <QImage>
#include <QLineEdit>
#include <QTabWidget>

#include <cmath>
#include <memory>
#include <numbers>
#include <string>

#include "core/gridedit.h"
#include "editor/frmedit.h"
#include "editor/photometrypanel.h"
#include "editor/plotcd.h"
#include "host/settingsstore.h"
#include "host/startup.h"
#include "roadweb.h"

namespace {

using namespace kandor;

class NoHelp final : public HelpOpener {
  public:
    bool openTopic(int) override { return true; }
};

// The editor window on the candela tab, as a user sees it while typing.
struct Editor {
    MemorySettingsStore store;
    ToolState state;
    RecordList list;
    SilentPrompter prompter;
    NoHelp help;
    std::unique_ptr<frmEdit> form;

    Editor(int numVert, int numHorz) {
        list.add(bench::roadWeb(numVert, numHorz));
        form = std::make_unique<frmEdit>(
            EditorContext{store, state, list, prompter, help, {}, [] {}, 0});
        form->loadForm();
        form->backupRecord();
        form->loadData();
        UserSettings settings;
        settings.changingLamp = std::string(startup_text::kChangesCandelaValues);
        form->applySettings(settings);
        form->showForm();
        form->findChild<QTabWidget*>("SSTab1")->setCurrentIndex(3);
        QApplication::processEvents();
    }
};

void keystroke(benchmark::State& st, int numVert, int numHorz) {
    Editor e(numVert, numHorz);
    auto* multiplier = e.form->findChild<QLineEdit*>("txtMultiplier");
    const auto* panel = e.form->findChild<PhotometryPanel*>("cdaFraPhotometry");
    int i = 0;
    for (auto _ : st) {
        multiplier->setText(i++ % 2 ? "2" : "3");
        QApplication::processEvents();  // the grid's and the plot's repaint
    }
    st.counters["values"] = static_cast<double>(numVert) * numHorz;
    // The panel followed: the values were rescaled against the multiplier, the flux kept.
    if (!panel->figures().totalFlux) st.SkipWithError("no figures");
    st.counters["lm"] = panel->figures().totalFlux.value.value_or(0);
}

void paste(benchmark::State& st, int numVert, int numHorz) {
    Editor e(numVert, numHorz);
    OneBased2D<double> other = e.form->state().candela;
    for (double& v : other.values())
        v = std::round(v * 0.5 * 1000) / 1000;
    const std::string texts[] = {candelaCopyText(other), e.form->candelaCopyText()};
    int i = 0;
    for (auto _ : st) {
        if (!e.form->pasteCandela(texts[i++ % 2])) st.SkipWithError("paste refused");
        QApplication::processEvents();
    }
    st.counters["values"] = static_cast<double>(numVert) * numHorz;
}

void plotRedraw(benchmark::State& st, int numVert, int numHorz) {
    const IesRecord r = bench::roadWeb(numVert, numHorz);
    plotCD plot;
    plot.resize(1000, 1000);
    QImage image(1000, 1000, QImage::Format_ARGB32_Premultiplied);
    const PlotInput input{1, r.VertAngles.values(), r.HorAngles.values(), &r.Candela, 1};
    for (auto _ : st) {
        plot.setData(input);
        plot.render(&image);
        benchmark::DoNotOptimize(image.constBits());
    }
}

void BM_MultiplierKeystroke_181x361(benchmark::State& st) {
    keystroke(st, 181, 361);
}
void BM_Paste_181x361(benchmark::State& st) {
    paste(st, 181, 361);
}
void BM_PlotRedraw1000_181x361(benchmark::State& st) {
    plotRedraw(st, 181, 361);
}
void BM_MultiplierKeystroke_NearField721x1441(benchmark::State& st) {
    keystroke(st, 721, 1441);
}
void BM_Paste_NearField721x1441(benchmark::State& st) {
    paste(st, 721, 1441);
}
void BM_PlotRedraw1000_NearField721x1441(benchmark::State& st) {
    plotRedraw(st, 721, 1441);
}

// The comparison behind the "modified" word, run after each burst of edits.
void BM_ModifiedCheck_NearField721x1441(benchmark::State& st) {
    Editor e(721, 1441);
    for (auto _ : st)
        e.form->updateModified();
}

BENCHMARK(BM_MultiplierKeystroke_181x361)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Paste_181x361)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlotRedraw1000_181x361)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MultiplierKeystroke_NearField721x1441)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Paste_NearField721x1441)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlotRedraw1000_NearField721x1441)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ModifiedCheck_NearField721x1441)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    return runWidgetBenchmarks(argc, argv);
}
