#include "core/ldtwriter.h"

#include <string_view>

namespace kandor {
namespace {

class Lines {
  public:
    void raw(std::string_view text) { out_ += text; }
    void text(std::string_view text) {
        out_ += text;
        out_ += "\r\n";
    }
    void number(double value) {
        appendLdtNumber(out_, value);
        out_ += "\r\n";
    }
    void integer(int value) { text(std::to_string(value)); }
    void numbers(const std::vector<double>& values) {
        for (double v : values)
            number(v);
    }
    void reserve(std::size_t values) { out_.reserve(values * 8 + 1024); }
    std::string take() { return std::move(out_); }

  private:
    std::string out_;
};

}  // namespace

std::string composeLdt(const LdtRecord& r) {
    Lines out;
    out.reserve(r.cAngles.size() + r.gammaAngles.size() + r.intensities.size());
    // A reader takes a byte-order mark at the start for the encoding's, so a company line that
    // begins with one keeps it only behind a mark of the file's own.
    if (r.company.starts_with("\xEF\xBB\xBF")) out.raw("\xEF\xBB\xBF");
    out.text(r.company);
    out.integer(r.ityp);
    out.integer(r.isym);
    out.integer(r.mc);
    out.number(r.dc);
    out.integer(r.ng);
    out.number(r.dg);
    for (const std::string* t :
         {&r.report, &r.luminaireName, &r.luminaireNumber, &r.fileName, &r.dateUser})
        out.text(*t);
    for (double v : {r.length, r.width, r.height, r.luminousLength, r.luminousWidth})
        out.number(v);
    for (double v : r.luminousHeights)
        out.number(v);
    for (double v : {r.dff, r.lorl, r.conversionFactor, r.tilt})
        out.number(v);
    out.integer(static_cast<int>(r.lampSets.size()));
    for (const LdtLampSet& set : r.lampSets) {
        out.integer(set.numLamps);
        out.text(set.type);
        out.number(set.flux);
        out.text(set.colour);
        out.text(set.rendering);
        out.number(set.watts);
    }
    for (double v : r.directRatios)
        out.number(v);
    out.numbers(r.cAngles);
    out.numbers(r.gammaAngles);
    out.numbers(r.intensities);
    std::string text = out.take();
    text += r.trailingText;
    return text;
}

}  // namespace kandor
