/* An outside C program built against an installed copy of the library. */
#include <remind_info.h>
#include <reminder_api.h>
#include <stdio.h>

int main(void) {
    remind_info_type_s* info = reminder_info_add();
    if (info == NULL) return 1;
    reminder_info_del(info);
    printf("C consumer of reminder-api %s (%d)\n", REMINDER_API_VERSION_STRING,
           REMINDER_API_VERSION);
    return 0;
}
