#pragma once

namespace zel {

// The result files a run writes when their option is not given. Scripts
// look for these names, and the entry's path-length check counts them.
inline constexpr char kDefaultOutputIni[] = "zelcli_output.ini";
inline constexpr char kDefaultOutputBin[] = "zelcli_output.bin";
inline constexpr char kDefaultActionResultJson[] = "zelcli_actres.json";

}  // namespace zel
