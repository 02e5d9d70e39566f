#include "host/exchange.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <exception>
#include <system_error>
#include <vector>

#include "core/numforms.h"
#include "core/runtimefault.h"
#include "core/splitfields.h"

namespace kandor {
namespace {

// Slot value positions, in exchange_key::kAll order.
enum Field : std::size_t {
    kFilenameAt,
    kKeywordsAt,
    kKeywordDataAt,
    kTiltInclAt,
    kTiltDataAt,
    kOtherDataAt,
    kHorAnglesAt,
    kVertAnglesAt,
    kCandelaAt,
    kOptionalDataAt,
    kPictureFilenameAt,
};

std::string foldCase(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return out;
}

void dropTrailingCr(std::string_view& text) {
    while (!text.empty() && text.back() == '\r')
        text.remove_suffix(1);
}

// KeywordData and TiltData stay as the clearing left them when the record has nothing for them.
bool carries(const IesRecord& record, std::size_t field) {
    return !((field == kKeywordDataAt && record.Keywords.empty()) ||
             (field == kTiltDataAt && !record.TiltIncl));
}

// A list of numbers joined by ",", built in one buffer: a candela value of a large record
// holds tens of thousands of them.
class NumberList {
  public:
    explicit NumberList(std::size_t expected) { text_.reserve(expected * 9 + 8); }
    void add(std::string_view number) {
        separate();
        text_ += number;
    }
    void addInt(long long value) { add(plainInt(value, true)); }
    void addSingle(float value) { add(plainSingle(value, true)); }
    void addDouble(double value) {
        separate();
        appendPlainDouble(text_, value);
    }
    std::string take() { return std::move(text_); }

  private:
    void separate() {
        if (!first_) text_ += ',';
        first_ = false;
    }
    std::string text_;
    bool first_ = true;
};

// One field read leniently: leading blanks skipped, the longest numeric prefix, otherwise 0.
// Plain decimals go straight to from_chars; everything else (blanks, "E+" exponents, a closing
// CR, letters, overflow) takes the lenient reader, which raises fault 6 beyond a double.
double readField(std::string_view text) {
    bool plain = !text.empty();
    for (char c : text)
        if (!((c >= '0' && c <= '9') || c == '.' || c == '-' || c == 'e' || c == 'E')) {
            plain = false;
            break;
        }
    if (plain) {
        double value = 0;
        auto res = std::from_chars(text.data(), text.data() + text.size(), value);
        if (res.ec == std::errc() && res.ptr == text.data() + text.size()) return value;
    }
    return readLenient(text);
}

// The fields of a one-line list of numbers, cut at "," as SplitFields cuts a line and read
// one at a time, so that nothing past the fields a caller asks for is ever read. The list is
// the value's first line; an empty value has no fields at all.
class NumberFields {
  public:
    explicit NumberFields(std::string_view value) {
        if (std::size_t lf = value.find('\n'); lf != std::string_view::npos)
            value = value.substr(0, lf);
        dropTrailingCr(value);
        rest_ = value;
        count_ = value.empty()
                     ? 0
                     : static_cast<std::size_t>(std::count(value.begin(), value.end(), ',')) + 1;
    }

    // How many fields the list has.
    std::size_t count() const noexcept { return count_; }

    // The next field as a number; only called while fields are left.
    double next() {
        const std::size_t comma = rest_.find(',');
        const std::string_view field = rest_.substr(0, comma);
        rest_.remove_prefix(comma == std::string_view::npos ? rest_.size() : comma + 1);
        return readField(field);
    }

  private:
    std::string_view rest_;
    std::size_t count_ = 0;
};

// A count as a record keeps it: read leniently and rounded, halves to even, to a 16-bit
// integer. A count below 0 has no list to go with it, and one beyond 16 bits raises fault 6;
// both fail.
bool readCount(double value, std::int16_t& count) {
    count = toInt16(value);
    return count >= 0;
}

// A count followed by at least that many values, which are read into `values`; the fields
// after them are not part of the list. False when the list is empty or too short.
bool countedList(std::string_view value, std::vector<double>& values, std::int16_t& count) {
    NumberFields fields(value);
    if (fields.count() == 0 || !readCount(fields.next(), count)) return false;
    const auto n = static_cast<std::size_t>(count);
    if (fields.count() - 1 < n) return false;
    values.resize(n);
    for (double& v : values)
        v = fields.next();
    return true;
}

}  // namespace

std::string exchangeKey(std::string_view field, int slot) {
    std::string key(field);
    key += plainInt(slot, true);
    return key;
}

bool encodeSlot(const IesRecord& record, SlotValues& out) {
    const LampData& other = record.OtherData;
    const int numV = other.numVertAngles;
    const int numH = other.numHorzAngles;
    if (numV < 0 || numH < 0 || record.VertAngles.ubound() < numV ||
        record.HorAngles.ubound() < numH)
        return false;
    if (numV > 0 && numH > 0 && (record.Candela.rows() < numH || record.Candela.cols() < numV))
        return false;
    const TiltTable& tilt = record.TiltData;
    if (record.TiltIncl && (tilt.numPairs < 0 || tilt.angles.ubound() < tilt.numPairs ||
                            tilt.factors.ubound() < tilt.numPairs))
        return false;

    auto& v = out.values;
    v[kFilenameAt] = record.Filename;
    v[kKeywordsAt] = plainInt(record.Keywords.ubound());
    std::size_t keywordBytes = 0;
    for (const std::string& line : record.Keywords)
        keywordBytes += line.size() + 2;
    v[kKeywordDataAt].clear();
    v[kKeywordDataAt].reserve(keywordBytes);
    for (const std::string& line : record.Keywords) {
        v[kKeywordDataAt] += line;
        v[kKeywordDataAt] += "\r\n";
    }
    v[kTiltInclAt] = plainInt(record.TiltIncl ? 1 : 0);
    v[kTiltDataAt].clear();
    if (record.TiltIncl) {
        NumberList list(2 + 2 * static_cast<std::size_t>(tilt.numPairs));
        list.addInt(tilt.lampToLuminaire);
        list.addInt(tilt.numPairs);
        for (int i = 1; i <= tilt.numPairs; ++i)
            list.addSingle(tilt.angles(i));
        for (int i = 1; i <= tilt.numPairs; ++i)
            list.addSingle(tilt.factors(i));
        v[kTiltDataAt] = list.take();
    }
    NumberList lamp(10);
    lamp.addInt(other.numLamps);
    lamp.addSingle(other.lumensPerLamp);
    lamp.addSingle(other.multiplier);
    lamp.addInt(other.photometricType);
    lamp.addInt(other.unitsType);
    lamp.addSingle(other.width);
    lamp.addSingle(other.length);
    lamp.addSingle(other.height);
    lamp.addSingle(other.ballastFactor);
    lamp.addSingle(other.inputWatts);
    v[kOtherDataAt] = lamp.take();

    NumberList horz(1 + static_cast<std::size_t>(numH));
    horz.addInt(numH);
    for (int i = 1; i <= numH; ++i)
        horz.addSingle(record.HorAngles(i));
    v[kHorAnglesAt] = horz.take();
    NumberList vert(1 + static_cast<std::size_t>(numV));
    vert.addInt(numV);
    for (int i = 1; i <= numV; ++i)
        vert.addSingle(record.VertAngles(i));
    v[kVertAnglesAt] = vert.take();

    NumberList candela(static_cast<std::size_t>(numH) * static_cast<std::size_t>(numV));
    if (numV > 0 && numH > 0) {
        const auto& values = record.Candela.values();
        const auto cols = static_cast<std::size_t>(record.Candela.cols());
        for (std::size_t h = 0; h < static_cast<std::size_t>(numH); ++h)
            for (std::size_t c = 0; c < static_cast<std::size_t>(numV); ++c)
                candela.addDouble(values[h * cols + c]);
    }
    v[kCandelaAt] = candela.take();
    v[kOptionalDataAt] = record.OptionalData;
    v[kPictureFilenameAt] = record.PictureFilename;
    return true;
}

int decodeSlot(const SlotValues& in, IesRecord& record, std::string& errorText) {
    const auto& v = in.values;
    // The value being read when a fault strikes names the failure.
    std::string_view problem = exchange_msg::kKeywordProblem;
    auto fail = [&](std::string_view message) {
        errorText = std::string(message);
        return 1;
    };
    try {
        record = IesRecord{};
        record.Filename = v[kFilenameAt];

        // The lines decide; the count only tells an empty list from one empty line, so that a
        // record without keyword lines comes back without any.
        const double keywordCount = readLenient(v[kKeywordsAt]);
        if (!(v[kKeywordDataAt].empty() && keywordCount == 0)) {
            FieldSplit lines = SplitFields(v[kKeywordDataAt], true);
            record.Keywords.redim(lines.lineCount);
            for (int i = 1; i <= lines.lineCount; ++i) {
                std::string_view line = lines.lines(i);
                if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
                record.Keywords(i) = std::string(line);
            }
        }

        problem = exchange_msg::kTiltProblem;
        const double tiltFlag = readLenient(v[kTiltInclAt]);
        // The host writes 1 for true; -1 is the 16-bit true of the same run time.
        record.TiltIncl = tiltFlag == 1 || tiltFlag == -1;
        if (record.TiltIncl) {
            NumberFields f(v[kTiltDataAt]);
            TiltTable& tilt = record.TiltData;
            if (f.count() < 2) return fail(problem);
            tilt.lampToLuminaire = toInt16(f.next());
            if (!readCount(f.next(), tilt.numPairs)) return fail(problem);
            const auto pairs = static_cast<std::size_t>(tilt.numPairs);
            if (f.count() - 2 < 2 * pairs) return fail(problem);
            tilt.angles.redim(tilt.numPairs);
            tilt.factors.redim(tilt.numPairs);
            for (float& a : tilt.angles)
                a = toSingle(f.next());
            for (float& m : tilt.factors)
                m = toSingle(f.next());
        }

        problem = exchange_msg::kOtherProblem;
        NumberFields f(v[kOtherDataAt]);
        if (f.count() < 10) return fail(problem);
        LampData& other = record.OtherData;
        other.numLamps = toInt16(f.next());
        other.lumensPerLamp = toSingle(f.next());
        other.multiplier = toSingle(f.next());
        other.photometricType = toInt16(f.next());
        other.unitsType = toInt16(f.next());
        other.width = toSingle(f.next());
        other.length = toSingle(f.next());
        other.height = toSingle(f.next());
        other.ballastFactor = toSingle(f.next());
        other.inputWatts = toSingle(f.next());

        problem = exchange_msg::kVertProblem;
        std::vector<double> vert;
        std::int16_t numV = 0;
        if (!countedList(v[kVertAnglesAt], vert, numV)) return fail(problem);
        problem = exchange_msg::kHorzProblem;
        std::vector<double> horz;
        std::int16_t numH = 0;
        if (!countedList(v[kHorAnglesAt], horz, numH)) return fail(problem);

        // Checked before the table is sized, so that no allocation is larger than the text.
        problem = exchange_msg::kCandelaProblem;
        const std::size_t cells = static_cast<std::size_t>(numH) * static_cast<std::size_t>(numV);
        NumberFields candela(cells == 0 ? std::string_view() : v[kCandelaAt]);
        if (candela.count() < cells) return fail(problem);

        problem = exchange_msg::kVertProblem;
        record.resizeGrid(numV, numH);
        for (int i = 1; i <= numV; ++i)
            record.VertAngles(i) = toSingle(vert[static_cast<std::size_t>(i - 1)]);
        problem = exchange_msg::kHorzProblem;
        for (int i = 1; i <= numH; ++i)
            record.HorAngles(i) = toSingle(horz[static_cast<std::size_t>(i - 1)]);
        problem = exchange_msg::kCandelaProblem;
        for (double& cd : record.Candela.values())
            cd = candela.next();

        record.OptionalData = v[kOptionalDataAt];
        record.PictureFilename = v[kPictureFilenameAt];
        return 0;
    } catch (const std::exception&) {
        // An overflowing number ("1E999", a count beyond 16 bits) or an allocation failure.
        return fail(problem);
    }
}

ExchangeSlots::ExchangeSlots(SettingsStore& store, std::string app, std::string section,
                             RecordList& list, Prompter& prompter)
    : store_(store),
      app_(std::move(app)),
      section_(std::move(section)),
      list_(list),
      prompter_(prompter) {}

bool ExchangeSlots::save(std::string_view key, std::string_view value) {
    if (store_.save(app_, section_, key, value)) return true;
    lastError_ = store_.lastError();
    if (lastError_.empty()) {
        lastError_ = exchange_msg::kStoreProblem;
        lastError_ += key;
        lastError_ += '.';
    }
    return false;
}

bool ExchangeSlots::storeFailed(std::string& errorText) {
    if (store_.lastError().empty()) return false;
    errorText = store_.lastError();
    return true;
}

bool ExchangeSlots::ClearExchangeSlots() {
    return clearSlotsExcept({});
}

bool ExchangeSlots::clearSlotsExcept(const std::unordered_set<std::string>& rewritten) {
    lastError_.clear();
    // A key that already holds the empty string needs no write, nor does one that is about to
    // be rewritten: one listing of the section saves up to 275 separately committed writes
    // (and a large candela value written twice) on every hand-back.
    std::unordered_set<std::string> skip = rewritten;
    for (const auto& [key, value] : store_.allEntries(app_, section_))
        if (value.empty()) skip.insert(foldCase(key));
    for (int slot = 1; slot <= MaxExchangeSlots; ++slot) {
        for (std::string_view field : exchange_key::kAll) {
            const std::string key = exchangeKey(field, slot);
            if (skip.contains(foldCase(key))) continue;
            if (!save(key, {})) return false;
        }
    }
    return true;
}

bool ExchangeSlots::encodeFor(int slot, const IesRecord& record, SlotValues& values) {
    if (encodeSlot(record, values)) return true;
    lastError_ = exchange_msg::kRecordForSlot;
    lastError_ += plainInt(slot, true);
    lastError_ += exchange_msg::kInconsistentRecord;
    return false;
}

bool ExchangeSlots::saveSlot(int slot, const IesRecord& record, const SlotValues& values) {
    for (std::size_t i = 0; i < SlotValues::kCount; ++i)
        if (carries(record, i) && !save(exchangeKey(exchange_key::kAll[i], slot), values.values[i]))
            return false;
    return true;
}

bool ExchangeSlots::writeSlot(int slot, const IesRecord& record) {
    lastError_.clear();
    if (slot < 1 || slot > MaxExchangeSlots) {
        lastError_ = exchange_msg::kNoSuchSlot;
        lastError_ += plainInt(slot, true);
        lastError_ += '.';
        return false;
    }
    SlotValues values;
    return encodeFor(slot, record, values) && saveSlot(slot, record, values);
}

int ExchangeSlots::WriteExchangeRecords(int firstSlot, int lastSlot, int firstRecord) {
    lastError_.clear();
    // Every record is encoded before the store is touched, so that a record that cannot be
    // written leaves the host's slots as they were.
    struct Planned {
        int slot;
        const IesRecord* record;
        SlotValues values;
    };
    std::vector<Planned> plan;
    std::unordered_set<std::string> rewritten;
    bool capped = false;
    int r = firstRecord - 1;
    for (int slot = firstSlot; slot <= lastSlot; ++slot) {
        ++r;
        // A slot past the end of the list is marked empty by its Filename; the clearing below
        // has done that already.
        if (r < 1 || r > list_.ubound()) continue;
        if (slot > MaxExchangeSlots) {
            capped = true;
            break;
        }
        if (slot < 1) continue;
        Planned& p = plan.emplace_back(Planned{slot, &list_(r), {}});
        if (!encodeFor(slot, *p.record, p.values)) return -1;
        for (std::size_t i = 0; i < SlotValues::kCount; ++i)
            if (carries(*p.record, i))
                rewritten.insert(foldCase(exchangeKey(exchange_key::kAll[i], slot)));
    }
    if (!clearSlotsExcept(rewritten)) return -1;
    for (const Planned& p : plan)
        if (!saveSlot(p.slot, *p.record, p.values)) return -1;
    if (capped) {
        std::string text(exchange_msg::kTooManyFiles);
        text += plainInt(MaxExchangeSlots, true);
        text += exchange_msg::kTooManyFilesEnd;
        prompter_.tell(text, std::string(exchange_msg::kLoadDataTitle));
        return 0;
    }
    return 1;
}

int ExchangeSlots::readSlot(int slot, IesRecord& record, std::string& errorText) {
    if (slot < 1 || slot > MaxExchangeSlots) return -1;
    SlotValues values;
    for (std::size_t i = 0; i < SlotValues::kCount; ++i) {
        values.values[i] = store_.get(app_, section_, exchangeKey(exchange_key::kAll[i], slot));
        if (storeFailed(errorText)) return 1;
        if (i == kFilenameAt && values.values[i].empty()) return -1;
    }
    return decodeSlot(values, record, errorText);
}

int ExchangeSlots::ReadExchangeRecords(int slotCount, std::string& errorText) {
    if (slotCount > MaxExchangeSlots) slotCount = MaxExchangeSlots;
    list_.clear();
    for (int slot = 1; slot <= slotCount; ++slot) {
        IesRecord record;
        const int status = readSlot(slot, record, errorText);
        if (status == 1) return 1;
        if (status == 0) list_.add(std::move(record));
    }
    return list_.empty() ? -1 : 0;
}

}  // namespace kandor
