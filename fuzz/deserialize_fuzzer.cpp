// Any text handed to CRemindInfo::Deserialize: it answers true or false and never crashes, and a
// record it accepted serializes, reads back and renders as text.
#include <cstddef>
#include <cstdint>
#include <string>

#include "RemindInfo.h"
#include "tvsim/tvsim.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    CRemindInfo record;
    if (!record.Deserialize(text)) return 0;
    CRemindInfo again;
    again.Deserialize(record.Serialize());
    (void)again.ToString();
    (void)again.ProgramCrid();
    (void)again.SeriesCrid();
    // The simulated log keeps every line; emptied per input, so memory stays flat and the leak
    // check sees each input's allocations freed.
    tvsim::ClearLogs();
    return 0;
}
