#pragma once

// kandor-lint's EULUMDAT side: the same outputs as for LM-63, from the EULUMDAT reader.

#include <string>
#include <string_view>

namespace kandor::lint {

enum class LdtOutput { Reports, Json, Summary, Roundtrip };

// What --help adds about EULUMDAT files.
inline constexpr std::string_view kLdtHelp =
    "\n"
    "EULUMDAT (.ldt) files are checked too, chosen by their content (no TILT line, numbers on\n"
    "lines 2 to 7) or, where the content does not tell, by the extension .ldt. The same\n"
    "outputs then come from Kandor's EULUMDAT reader:\n"
    "  FILE:LINE: CODE: MESSAGE   one line per finding (LINE 0 when it concerns no one line)\n"
    "  FILE: status N             0 clean, 1 values repaired or out of range, 2 unusable\n"
    "  --json       one object per file: file, format (\"eulumdat\"), status, reports (line,\n"
    "               code, status, message), record, every field as read (intensities one\n"
    "               array per stored C plane, in cd/klm), and photometry, the figures of the\n"
    "               file as converted to LM-63\n"
    "  --summary    the figures of the file as converted to LM-63\n"
    "  --roundtrip  the EULUMDAT text Kandor writes for what it read (CR LF line ends); an\n"
    "               unusable file only with --force\n"
    "What converting to and from LM-63 keeps and loses is in the README and the help pages.\n";

// Checks one EULUMDAT text as `mode` says, writing to standard output and error as the LM-63
// side does; returns the status.
int lintLdt(const std::string& path, std::string_view text, LdtOutput mode, bool force);

}  // namespace kandor::lint
