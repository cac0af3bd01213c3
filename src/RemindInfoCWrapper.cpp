#include "remind_info.h"

#include <new>

#include "RemindInfo.h"

// A handle is the address of a heap record; the C side never sees inside it.
namespace {

CRemindInfo* AsRecord(remind_info_type_s* handle) {
    return reinterpret_cast<CRemindInfo*>(handle);
}

remind_info_type_s* AsHandle(CRemindInfo* record) {
    return reinterpret_cast<remind_info_type_s*>(record);
}

}  // namespace

extern "C" {

remind_info_type_s* reminder_info_add(void) {
    return AsHandle(new (std::nothrow) CRemindInfo());
}

void reminder_info_del(remind_info_type_s* handle) {
    delete AsRecord(handle);
}

}  // extern "C"
