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

bool isBlankText(std::string_view text) {
    for (char c : text)
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n') return false;
    return true;
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

// One field as a number. Plain decimals go straight to from_chars; everything else (blanks,
// "E+" exponents, overflow) takes the lenient reader, which raises fault 6 beyond a double.
bool readField(std::string_view text, double& value) {
    dropTrailingCr(text);
    bool plain = !text.empty();
    for (char c : text)
        if (!((c >= '0' && c <= '9') || c == '.' || c == '-' || c == 'e' || c == 'E')) {
            plain = false;
            break;
        }
    if (plain) {
        auto res = std::from_chars(text.data(), text.data() + text.size(), value);
        if (res.ec == std::errc() && res.ptr == text.data() + text.size()) return true;
    }
    if (!isNumeric(text)) return false;
    value = readLenient(text);
    return true;
}

// The numbers of a one-line value, cut at "," as SplitFields cuts a line, without copying
// each field. A host may end the value with CRLF; anything else that is not a number (a
// letter, an empty field, a second line) makes the value unreadable, because reading it as 0
// would hand the user a silently wrong table.
bool numberFields(std::string_view value, std::vector<double>& out) {
    out.clear();
    if (std::size_t lf = value.find('\n'); lf != std::string_view::npos) {
        if (lf + 1 != value.size()) return false;
        value.remove_suffix(1);
    }
    out.reserve(static_cast<std::size_t>(std::count(value.begin(), value.end(), ',')) + 1);
    std::size_t from = 0;
    while (true) {
        const std::size_t comma = value.find(',', from);
        const std::string_view field =
            value.substr(from, comma == std::string_view::npos ? comma : comma - from);
        double number = 0;
        if (!readField(field, number)) return false;
        out.push_back(number);
        if (comma == std::string_view::npos) return true;
        from = comma + 1;
    }
}

// A count followed by exactly that many values; false for a negative, fractional or
// disagreeing count.
bool countedList(std::string_view value, std::vector<double>& fields, std::int16_t& count) {
    if (!numberFields(value, fields) || fields.empty()) return false;
    const double expected = static_cast<double>(fields.size() - 1);
    if (fields.front() != expected) return false;
    count = toInt16(fields.front());
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

        std::vector<double> f;
        problem = exchange_msg::kTiltProblem;
        const double tiltFlag = readLenient(v[kTiltInclAt]);
        // The host writes 1 for true; -1 is the 16-bit true of the same run time.
        record.TiltIncl = tiltFlag == 1 || tiltFlag == -1;
        if (record.TiltIncl) {
            if (!numberFields(v[kTiltDataAt], f) || f.size() < 2) return fail(problem);
            TiltTable& tilt = record.TiltData;
            tilt.lampToLuminaire = toInt16(f[0]);
            const double pairs = f[1];
            if (pairs < 0 || pairs != static_cast<double>((f.size() - 2) / 2) || f.size() % 2 != 0)
                return fail(problem);
            tilt.numPairs = toInt16(pairs);
            tilt.angles.redim(tilt.numPairs);
            tilt.factors.redim(tilt.numPairs);
            for (int i = 1; i <= tilt.numPairs; ++i) {
                tilt.angles(i) = toSingle(f[static_cast<std::size_t>(1 + i)]);
                tilt.factors(i) = toSingle(f[static_cast<std::size_t>(1 + tilt.numPairs + i)]);
            }
        }

        problem = exchange_msg::kOtherProblem;
        if (!numberFields(v[kOtherDataAt], f) || f.size() != 10) return fail(problem);
        LampData& other = record.OtherData;
        other.numLamps = toInt16(f[0]);
        other.lumensPerLamp = toSingle(f[1]);
        other.multiplier = toSingle(f[2]);
        other.photometricType = toInt16(f[3]);
        other.unitsType = toInt16(f[4]);
        other.width = toSingle(f[5]);
        other.length = toSingle(f[6]);
        other.height = toSingle(f[7]);
        other.ballastFactor = toSingle(f[8]);
        other.inputWatts = toSingle(f[9]);

        problem = exchange_msg::kVertProblem;
        std::vector<double> vert;
        std::int16_t numV = 0;
        if (!countedList(v[kVertAnglesAt], vert, numV)) return fail(problem);
        problem = exchange_msg::kHorzProblem;
        std::vector<double> horz;
        std::int16_t numH = 0;
        if (!countedList(v[kHorAnglesAt], horz, numH)) return fail(problem);

        problem = exchange_msg::kCandelaProblem;
        const std::size_t cells = static_cast<std::size_t>(numH) * static_cast<std::size_t>(numV);
        if (cells == 0) {
            if (!isBlankText(v[kCandelaAt])) return fail(problem);
            f.clear();
        } else if (!numberFields(v[kCandelaAt], f) || f.size() != cells) {
            return fail(problem);
        }

        problem = exchange_msg::kVertProblem;
        record.resizeGrid(numV, numH);
        for (int i = 1; i <= numV; ++i)
            record.VertAngles(i) = toSingle(vert[static_cast<std::size_t>(i)]);
        problem = exchange_msg::kHorzProblem;
        for (int i = 1; i <= numH; ++i)
            record.HorAngles(i) = toSingle(horz[static_cast<std::size_t>(i)]);
        if (cells != 0) record.Candela.values() = std::move(f);

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
