// The writer and the reader must agree on everything the writer writes: for any text the
// reader accepts (status 0, 1 or 3), the text composed from what was read reads back without
// becoming unusable, keeps the record's invariants, and composes to the same bytes again.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/iesreader.h"
#include "core/iesrecord.h"
#include "core/prompter.h"
#include "core/saveies.h"
#include "fuzzsupport.h"

namespace {

using namespace kandor;

// The writer's error box means a fault while composing; no record the reader made may cause one.
class NoBoxes final : public Prompter {
  public:
    PromptAnswer ask(const std::string&, const std::string&, PromptButtons) override {
        fuzz::broken("the writer failed on a record the reader accepted");
    }
};

int parse(IesRecord& record, std::string_view text, std::string_view lastText) {
    IesReader reader;
    reader.hooks.ReportIssue = [](int, int, const std::string&) {};
    return reader.ParseIes(record, text, false, lastText);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    IesRecord record;
    if (parse(record, text, text) == kParseUnusable) return 0;
    fuzz::requireShape(record);

    NoBoxes boxes;
    SaveIES writer;
    const std::string composed = writer.Compose(record, boxes);
    IesRecord back;
    fuzz::require(parse(back, composed, writer.lastText()) != kParseUnusable,
                  "the composed text of an accepted record reads as unusable");
    fuzz::requireShape(back);
    SaveIES again;
    fuzz::require(again.Compose(back, boxes) == composed,
                  "compose, read and compose again gives other bytes");
    return 0;
}
