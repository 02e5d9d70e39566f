#pragma once

// A started editor window over a record of the test's choosing, without a host, with the
// "ChangingLamp" setting given and every message box read through a scripted prompter.

#include <gtest/gtest.h>

#include <QAbstractItemModel>
#include <QApplication>
#include <QLineEdit>
#include <QTableView>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "editor/frmedit.h"
#include "host/settingsstore.h"
#include "support/scriptedprompter.h"

namespace kandor {

// Reaches the flags the form keeps for its own writes.
class FrmEditTestAccess {
  public:
    static bool& startupFlag(frmEdit& f) { return f.startupFlag_; }
    static bool& busyFlag(frmEdit& f) { return f.busyFlag_; }
};

namespace testing {

class NoHelp final : public HelpOpener {
  public:
    bool openTopic(int) override { return true; }
};

// Keeps the topics asked for, in order.
class RecordingHelp final : public HelpOpener {
  public:
    bool openTopic(int topic) override {
        topics.push_back(topic);
        return true;
    }
    std::vector<int> topics;
};

// Two lamps of 1000 lm, multiplier 1; vertical angles 0, 45, 90 and horizontal 0, 90, the
// value of plane h at vertical index v being 100 * h + 10 * v. Type 2 keeps the same values
// with vertical angles -90, 0, 90.
inline IesRecord smallRecord(std::int16_t type = 1) {
    IesRecord r;
    r.Filename = "/data/small.ies";
    r.Keywords.append("IESNA:LM-63-2002");
    r.Keywords.append("[TEST] 1");
    r.OtherData.numLamps = 2;
    r.OtherData.lumensPerLamp = 1000;
    r.OtherData.multiplier = 1;
    r.OtherData.photometricType = type;
    r.OtherData.unitsType = 2;
    r.OtherData.ballastFactor = 1;
    r.OtherData.inputWatts = 20;
    r.resizeGrid(3, 2);
    const float vert[] = {0, 45, 90};
    const float vertB[] = {-90, 0, 90};
    for (int v = 1; v <= 3; ++v)
        r.VertAngles(v) = type == 1 ? vert[v - 1] : vertB[v - 1];
    r.HorAngles(1) = 0;
    r.HorAngles(2) = 90;
    for (int h = 1; h <= 2; ++h)
        for (int v = 1; v <= 3; ++v)
            r.Candela(h, v) = 100.0 * h + 10.0 * v;
    return r;
}

class EditorFixture : public ::testing::Test {
  protected:
    void start(IesRecord record, std::string_view changingLamp = "ChangesCandelaMultiplier") {
        list_.add(std::move(record));
        EditorContext context{store_, state_, list_, prompter_, help_, {}, [] {}, 0};
        form_ = std::make_unique<frmEdit>(context);
        form_->loadForm();
        form_->backupRecord();
        form_->loadData();
        UserSettings settings;
        settings.changingLamp = std::string(changingLamp);
        form_->applySettings(settings);
        form_->showForm();
    }

    void TearDown() override {
        form_.reset();
        // Nothing the test opened stays open.
        EXPECT_TRUE(QApplication::topLevelWidgets().empty() ||
                    std::none_of(QApplication::topLevelWidgets().begin(),
                                 QApplication::topLevelWidgets().end(),
                                 [](QWidget* w) { return w->isVisible(); }));
    }

    template <class T>
    T* child(const char* name) {
        T* w = form_->findChild<T*>(name);
        EXPECT_NE(w, nullptr) << name;
        return w;
    }

    QLineEdit* edit(const char* name) { return child<QLineEdit>(name); }
    QString text(const char* name) { return edit(name)->text(); }
    void type(const char* name, const QString& t) { edit(name)->setText(t); }

    QAbstractItemModel* model(const char* grid) { return child<QTableView>(grid)->model(); }
    QVariant cellData(const char* grid, int row, int column, int role) {
        QAbstractItemModel* m = model(grid);
        return m->data(m->index(row, column), role);
    }
    std::string cell(const char* grid, int row, int column) {
        return cellData(grid, row, column, Qt::DisplayRole).toString().toStdString();
    }
    bool shaded(const char* grid, int row, int column) {
        return cellData(grid, row, column, Qt::BackgroundRole).isValid();
    }
    // Types into a cell as the grid's editor commits it; true when the value was taken.
    bool write(const char* grid, int row, int column, const QString& t) {
        QAbstractItemModel* m = model(grid);
        return m->setData(m->index(row, column), t, Qt::EditRole);
    }

    std::vector<std::string> messages() const {
        std::vector<std::string> out;
        for (const PromptCall& c : prompter_.calls())
            out.push_back(c.text);
        return out;
    }

    MemorySettingsStore store_;
    ToolState state_;
    RecordList list_;
    ScriptedPrompter prompter_;
    NoHelp help_;
    std::unique_ptr<frmEdit> form_;
};

}  // namespace testing
}  // namespace kandor
