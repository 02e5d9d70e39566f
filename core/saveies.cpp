#include "core/saveies.h"

#include <cmath>

#include "core/numforms.h"
#include "core/runtimefault.h"

namespace kandor {
namespace {

constexpr std::string_view kCrlf = "\r\n";
constexpr std::string_view kFormatLine2002 = "IESNA:LM-63-2002";

std::string intText(long long value) {
    return plainInt(value, true);
}

}  // namespace

std::string_view saveErrorMessage(int number) {
    switch (number) {
        case 6:
            return "Calculation Overflow";
        case 11:
            return "Division by Zero";
        case 52:
            return "Bad file name or number";
        case 53:
            return "File not found. funny, I've got it!";
        case 55:
            return "File is already open. Please close it in another application.";
        case 57:
            return "The device selected has encountered an error while saving this file. Try "
                   "again, or choose another disk.";
        case 58:
            return "File already exists. Are you sure you want to save?";
        case 61:
            return "Disk is full. Free up space on this disk or choose another.";
        case 67:
            return "Too many files in this directory (Old FAT filesystem?).";
        case 68:
            return "Device unavailable. Insert the disk and try again.";
        case 70:
            return "Permission denied. Please be sure you have ownership of and that the file is "
                   "not Read-Only.";
        case 71:
            return "Disk not ready. Please try again.";
        case 75:
            return "File is Read-Only. Cannot save.";
        case 76:
            return "Path not found. Please be sure to select a valid mounted device";
        case 440:
            return "An intermediate component of the filesystem has failed.";
        case 31001:
            return "Out of memory (RAM). Please close some other applications and try again.";
        case 31036:
            return "Invalid file handle or insufficient disk space to save file.";
        default:
            return {};
    }
}

std::string SaveIES::Compose(const IesRecord& record, Prompter& prompter) {
    try {
        // The limit is chosen before the output is emptied: a record without keyword lines
        // faults here and leaves the previous text in place.
        limit_ = record.Keywords(1) == kFormatLine2002 ? kLimit2002 : kLimitClassic;
        output_.clear();
        lineLength_ = 0;
        lastCrlf_ = 0;
        composeInto(record);
        return output_;
    } catch (...) {
        const RuntimeFault f = currentFault();
        std::string text;
        if (std::string_view message = saveErrorMessage(f.number()); !message.empty()) {
            text = message;
        } else {
            text = saveies_msg::kOtherFaultPrefix;
            text += intText(f.number());
            text += ' ';
            text += f.description();
            text += ' ';
            text += f.source();
        }
        text += kCrlf;
        text += saveies_msg::kRetrySuffix;
        std::string title(saveies_msg::kTitlePrefix);
        title += record.Filename;
        // Despite the wording nothing is retried: OK keeps what was composed, Cancel drops it.
        if (prompter.ask(text, title, PromptButtons::OkCancel) == PromptAnswer::Ok) return output_;
        return {};
    }
}

void SaveIES::setLastText(std::string text) {
    output_ = std::move(text);
    const std::size_t pos = output_.rfind(kCrlf);
    lastCrlf_ = pos == std::string::npos ? 0 : pos + 1;
}

void SaveIES::composeInto(const IesRecord& record) {
    for (int i = 1; i <= record.Keywords.ubound(); ++i) {
        std::string line = record.Keywords(i);
        line += kCrlf;
        append(line);
    }

    if (record.TiltIncl) {
        append("TILT=INCLUDE\r\n");
        const TiltTable& tilt = record.TiltData;
        append(intText(tilt.lampToLuminaire) + std::string(kCrlf));
        append(intText(tilt.numPairs) + std::string(kCrlf));
        appendLineOfValues(tilt.angles, tilt.numPairs);
        appendLineOfValues(tilt.factors, tilt.numPairs);
    } else {
        append("TILT=NONE\r\n");
    }

    const LampData& d = record.OtherData;
    std::string lamp = intText(d.numLamps);
    for (const std::string& field :
         {generalSingle(d.lumensPerLamp), generalSingle(d.multiplier), intText(d.numVertAngles),
          intText(d.numHorzAngles), intText(d.photometricType), intText(d.unitsType),
          generalSingle(d.width), generalSingle(d.length), generalSingle(d.height)}) {
        lamp += ' ';
        lamp += field;
    }
    lamp += kCrlf;
    append(lamp);

    // The middle field is reserved by the format; the record does not keep it.
    append(generalSingle(d.ballastFactor) + " 1 " + generalSingle(d.inputWatts) +
           std::string(kCrlf));

    const int numVert = d.numVertAngles;
    const int numHorz = d.numHorzAngles;
    appendLineOfValues(record.VertAngles, numVert);
    appendLineOfValues(record.HorAngles, numHorz);

    std::string value;  // reused for every candela value, so the table allocates nothing
    for (int h = 1; h <= numHorz; ++h) {
        for (int v = 1; v <= numVert; ++v) {
            value.clear();
            appendPattern(value, record.Candela(h, v), candelaPattern_);
            appendBare(value.data(), value.size());
            if (v < numVert) appendBare(" ", 1);
        }
        if (h < numHorz) append(kCrlf);
    }
}

void SaveIES::appendLineOfValues(const OneBased<float>& values, int count) {
    for (int i = 1; i <= count; ++i) {
        const std::string text = generalSingle(values(i));
        appendBare(text.data(), text.size());
        if (i < count)
            appendBare(" ", 1);
        else
            append(kCrlf);
    }
}

void SaveIES::append(std::string_view piece) {
    const bool holdsCrlf = piece.find(kCrlf) != std::string_view::npos;
    const std::size_t before = output_.size();
    if (!holdsCrlf &&
        static_cast<long long>(piece.size()) + lineLength_ > static_cast<long long>(limit_))
        output_ += kCrlf;
    output_ += piece;
    // Only the new text can hold a later CRLF; one character back catches a CR left at the end.
    const std::size_t from = before > 0 ? before - 1 : 0;
    const std::size_t pos = std::string_view(output_).substr(from).rfind(kCrlf);
    if (pos != std::string_view::npos) lastCrlf_ = from + pos + 1;
    updateLineLength();
}

void SaveIES::appendBare(const char* data, std::size_t size) {
    if (static_cast<long long>(size) + lineLength_ > static_cast<long long>(limit_)) {
        lastCrlf_ = output_.size() + 1;
        output_ += kCrlf;
    }
    output_.append(data, size);
    updateLineLength();
}

void SaveIES::updateLineLength() {
    // The line length counts the LF of the previous line end: a fresh line starts at 1.
    const std::size_t length = output_.size() - lastCrlf_;
    if (length > 32767) raiseFault(fault::kOverflow);
    lineLength_ = static_cast<std::int16_t>(length);
}

SaveIES& writer() {
    static SaveIES instance;
    return instance;
}

}  // namespace kandor
