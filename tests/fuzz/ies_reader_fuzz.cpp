// Feeds arbitrary text to the LM-63 reader, both as the preview reads it and as a person who
// answers every repair prompt would, then writes what was read and reads the written text
// back. Whatever the input, nothing may crash, leak or hang.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/iesreader.h"
#include "core/iesrecord.h"
#include "core/prompter.h"
#include "core/saveies.h"

namespace {

using kandor::IesReader;
using kandor::IesRecord;

// Answers to a repair prompt, chosen by the input so that the fuzzer steers them too: the
// offered default, nothing, values each check rejects or accepts, and a piece of the input.
class ScriptedRepairs {
  public:
    explicit ScriptedRepairs(std::string_view input) : input_(input) {}

    std::string answer(const std::string& defaultValue) {
        static constexpr std::array<std::string_view, 10> kAnswers = {
            "", "0", "-1", "1", "2", "3", "90", "-90", "1E40", "x"};
        const std::size_t n = calls_++;
        const unsigned char pick =
            input_.empty() ? 0 : static_cast<unsigned char>(input_[(n * 7919) % input_.size()]);
        if (pick % 4 == 0) return defaultValue;
        if (pick % 4 == 1) {
            const std::size_t from = input_.empty() ? 0 : (n * 104729) % input_.size();
            return std::string(input_.substr(from, pick % 13));
        }
        return std::string(kAnswers[pick % kAnswers.size()]);
    }

  private:
    std::string_view input_;
    std::size_t calls_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);

    // As the preview reads it: not interactive, reports discarded.
    IesRecord record;
    {
        IesReader reader;
        reader.hooks.ReportIssue = [](int, int, const std::string&) {};
        reader.ParseIes(record, text, false, text);
    }

    // Interactive, with every prompt answered.
    {
        IesRecord repaired;
        ScriptedRepairs repairs(text);
        IesReader reader;
        reader.hooks.RepBox = [&repairs](const std::string&, const std::string& defaultValue,
                                         const std::string&) {
            return repairs.answer(defaultValue);
        };
        reader.ParseIes(repaired, text, true, {});
    }

    // What was read, written and read back: the writer's own text must always be readable.
    kandor::SilentPrompter silent;
    kandor::SaveIES writer;
    const std::string composed = writer.Compose(record, silent);
    IesRecord back;
    IesReader reader;
    reader.ParseIes(back, composed, false, writer.lastText());
    return 0;
}
