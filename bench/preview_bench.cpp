// The preview on a large record (181 vertical by 361 horizontal angles, one degree apart):
// opening it (check, form into record, writer, text box, first paint) and pressing OK on the
// untouched text (two parses and the form filled again). Each must stay well below what a
// user notices; the editor's window is real, on the offscreen platform.

#include <benchmark/benchmark.h>

#include "qtbenchmain.h"

#include <QApplication>
#include <QPushButton>
#include <QTabWidget>

#include <cmath>
#include <cstdlib>
#include <memory>

#include "dialogs/dlgpreview.h"
#include "editor/frmedit.h"
#include "host/settingsstore.h"

namespace {

using namespace kandor;

IesRecord largeRecord() {
    IesRecord r;
    r.Filename = "/data/large.ies";
    for (const char* line : {"IESNA:LM-63-2002", "[TEST] BENCH-1", "[TESTLAB] Bench lab",
                             "[ISSUEDATE] 01-JAN-2026", "[MANUFAC] Bench"})
        r.Keywords.append(line);
    LampData& d = r.OtherData;
    d.numLamps = 1;
    d.lumensPerLamp = -1;
    d.multiplier = 1;
    d.photometricType = 1;
    d.unitsType = 2;
    d.ballastFactor = 1;
    d.inputWatts = 100;
    r.resizeGrid(181, 361);
    for (int v = 1; v <= 181; ++v)
        r.VertAngles(v) = static_cast<float>(v - 1);
    for (int h = 1; h <= 361; ++h)
        r.HorAngles(h) = static_cast<float>(h - 1);
    for (int h = 1; h <= 361; ++h)
        for (int v = 1; v <= 181; ++v)
            r.Candela(h, v) = v == 1 ? 1000.0
                                     : std::round(1000.0 * std::cos((v - 1) * 3.14159265 / 360.0) *
                                                  (1.0 + 0.2 * std::sin(h * 0.05)) * 100.0) /
                                           100.0;
    return r;
}

class NoHelp final : public HelpOpener {
  public:
    bool openTopic(int) override { return true; }
};

struct Editor {
    // `tab`: the tab in front while the preview runs (3 is the candela tab with its plot).
    explicit Editor(int tab) {
        list.add(largeRecord());
        form = std::make_unique<frmEdit>(
            EditorContext{store, state, list, prompter, help, {}, [] {}, 0});
        form->loadForm();
        form->backupRecord();
        form->loadData();
        form->show();
        form->findChild<QTabWidget*>("SSTab1")->setCurrentIndex(tab);
        QApplication::processEvents();
    }
    MemorySettingsStore store;
    ToolState state;
    RecordList list;
    SilentPrompter prompter;
    NoHelp help;
    std::unique_ptr<frmEdit> form;
};

void BM_PreviewOpen(benchmark::State& state) {
    Editor editor(static_cast<int>(state.range(0)));
    dlgPreview* preview = editor.form->previewDialog();
    for (auto _ : state) {
        if (!preview->loadPreview()) state.SkipWithError("the check refused the record");
        preview->show();
        QApplication::processEvents();
        preview->hide();
    }
    state.counters["bytes"] = static_cast<double>(preview->previewText().size());
}

void BM_PreviewOk(benchmark::State& state) {
    Editor editor(static_cast<int>(state.range(0)));
    dlgPreview* preview = editor.form->previewDialog();
    for (auto _ : state) {
        state.PauseTiming();
        preview->loadPreview();
        preview->show();
        QApplication::processEvents();
        state.ResumeTiming();
        preview->OKButton->click();
        QApplication::processEvents();
        if (preview->isVisible()) state.SkipWithError("the untouched text was refused");
        // The form's transfer ends the format line with CRLF; the reader's parse does not.
        if (editor.list(1).Keywords(1) != "IESNA:LM-63-2002")
            state.SkipWithError("the text did not reach the record");
    }
}

BENCHMARK(BM_PreviewOpen)->Arg(0)->Arg(3)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_PreviewOk)->Arg(0)->Arg(3)->Unit(benchmark::kMillisecond)->MinTime(2.0);

}  // namespace

int main(int argc, char** argv) {
    return runWidgetBenchmarks(argc, argv);
}
