/* Compiles the public C headers as C and calls a little of them. */
#include <stdio.h>

#include "ReminderTypes.h"
#include "remind_info.h"
#include "reminder_api.h"

int main(void) {
    TReminderEvent event = {1, 2, 3, 4, PT_PARAM_TYPE_NONE};
    remind_info_type_s* info = reminder_info_add();
    if (info == NULL) return 1;
    reminder_info_del(info);
    reminder_info_del(NULL);
    (void)event;
    printf("C headers usable from C\n");
    return 0;
}
