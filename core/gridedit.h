#pragma once

// The cell rules of the editor's grids: what a typed angle or candela value becomes, the text
// the candela table is copied as, and how such a text is pasted back. The grid models only
// call these and show the outcome.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/onebased.h"

namespace kandor {

namespace grid_text {
// The two angle grids refuse a non-number each with its own last character.
inline constexpr std::string_view kVertNotANumber = "Not a number I know!";
inline constexpr std::string_view kHorzNotANumber = "Not a number I know.";
inline constexpr std::string_view kCandelaNotANumber = "Not a number I know.";
inline constexpr std::string_view kInvalidEntryTitle = "Invalid entry";
inline constexpr std::string_view kCandelaNegative = "Candela values cannot be negative!";
// 9999999 itself is refused although the text speaks of 10 million.
inline constexpr std::string_view kCandelaTooLarge = "Candela values must be less than 10 million.";
inline constexpr double kCandelaLimit = 9999999;
// (pieces - 1) + this + (needed - 1): both counts one short, as users have always seen them.
inline constexpr std::string_view kValuesRead = " values read; need ";
inline constexpr std::string_view kCandelaCellPattern = "#0.00";
// What the vertical grid shows for a column beyond its angles.
inline constexpr std::string_view kVertOutOfRange = " ";
}  // namespace grid_text

// A typed entry's outcome: the value to store, or the message (and its title, empty for the
// tool's own name) to show in an OK-only box while nothing is stored.
struct CellEntry {
    std::optional<float> value;
    std::string_view message;
    std::string_view title;
};

// A typed vertical or horizontal angle: any number as a 32-bit float, else the grid's message.
CellEntry vertAngleEntry(std::string_view text);
CellEntry horzAngleEntry(std::string_view text);

// A typed candela value, checked in order: a number, not negative, below 9999999.
CellEntry candelaEntry(std::string_view text);

// True when a display value differs from the record's value enough to show as changed: more
// than half a thousandth, or more than a 32-bit float's precision for large values.
bool candelaDiffers(double shown, double stored);

// The copy text of a display table (horizontal index first): one line per vertical index, its
// H values separated by tabs, every line ended by CRLF; no angles, no headings. A cell marked
// in `textCells` (H x V, horizontal index first) holds the text "#0.00#" gave it and is
// written so; every other value in the shortest form that reads back as itself.
std::string candelaCopyText(const OneBased2D<double>& display,
                            const std::vector<bool>& textCells = {});

// A selection of the display table, as the grid hands it over: cells by horizontal and
// vertical index.
struct CandelaCell {
    int h = 0;
    int v = 0;
};

// The copy text of selected cells in the same form: the rows and columns from the first to
// the last selected one, a cell inside that block but not selected left empty (a selection
// need not be a rectangle). Cells outside the table are ignored; nothing selected gives "".
std::string candelaSelectionText(const OneBased2D<double>& display,
                                 const std::vector<bool>& textCells,
                                 const std::vector<CandelaCell>& selected);

// The names of the two kinds of angle, the same on every tab, in the plot and in the help:
// Type C "vertical angles (γ)" and "horizontal angles (C planes)", Type B (any type but 1)
// "vertical angles (V)" and "horizontal angles (H)"; and their symbols "γ", "C", "V", "H".
std::string_view angleAxisName(int photometricType, bool vertical);
std::string_view angleSymbol(int photometricType, bool vertical);

// The line under the candela grid that reads out one cell: "C 35° γ 22.5°: 868.88 (x 1.875 =
// 1629 cd)", Type B (any type but 1) "H 35° V 22.5°: ...". `shown` is the cell's text as the
// grid shows it; without a multiplier (the field holds no number) or with 1 the line ends
// "868.88 cd".
std::string candelaCellLine(int photometricType, float horAngle, float vertAngle,
                            std::string_view shown, double value, std::optional<double> multiplier);

// The outcome of reading a paste: the values to put into the display array, or the message
// to show while nothing changes.
struct CandelaPaste {
    std::optional<OneBased2D<double>> values;  // numHorz by numVert, as copy writes them
    std::string message;
    std::string_view title;
};

// Reads a pasted text for a table of numHorz by numVert. Lines end at CRLF (a bare LF, as
// other programs on this platform copy, counts too); a trailing line end is ignored; the lines
// are joined with tabs and split at every tab. Another count than numHorz x numVert gives
// "(pieces - 1) values read; need (numHorz x numVert - 1)"; a piece that is not a number a
// 32-bit float can hold gives "Not a number I know." titled "Invalid entry". Pasted values are
// not held to the limits of typed entries.
CandelaPaste readCandelaPaste(std::string_view text, int numHorz, int numVert);

}  // namespace kandor
