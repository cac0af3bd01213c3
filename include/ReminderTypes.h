/* Types shared by the booking record, the scheduler and its C interface. Usable from C. */
#ifndef REMINDER_TYPES_H
#define REMINDER_TYPES_H

#ifdef __cplusplus
extern "C" {
#endif

/* How the parameters of an event are to be read; 0 in every event the library sends. */
typedef enum {
    PT_PARAM_TYPE_NONE = 0,
    /* Other senders may carry any 32-bit value here. */
    PT_PARAM_TYPE_MIN_ = -0x7FFFFFFF - 1,
    PT_PARAM_TYPE_MAX_ = 0x7FFFFFFF,
} PTParamType;

/* The five fields of a change event, in the order the bus signal carries them. */
typedef struct {
    int nCategory;
    unsigned int nEvent;
    int nParam1;
    int nParam2;
    PTParamType eParamType;
} TReminderEvent;

/* The only event the library sends by itself: the list of bookings changed. */
#define REMINDER_EVENT_LIST_CHANGED 12

/* The UID of a record that is not stored. */
#define REMINDER_INVALID_UID 0xFFFFFFFFUL

typedef enum {
    REMINDER_RESERVE_VIEWING = 0,
    REMINDER_RESERVE_RECORDING = 1,
    REMINDER_RESERVE_RECORDING_MONITORED = 2,
    REMINDER_RESERVE_RECORDING_IN_PROGRESS = 3,
    REMINDER_RESERVE_RECORDING_FAILED = 4,
    REMINDER_RESERVE_NONE = 5,
    REMINDER_RESERVE_RECORDING_READY = 7,
    REMINDER_RESERVE_SERIES = 9,
    REMINDER_RESERVE_SCHEDULED_10 = 10,
    REMINDER_RESERVE_RECORDING_CRID = 11,
    REMINDER_RESERVE_GROUP = 12,
    /* Stored values are any 32-bit integer: these bounds give the enum the full int range. */
    REMINDER_RESERVE_TYPE_MIN_ = -0x7FFFFFFF - 1,
    REMINDER_RESERVE_TYPE_MAX_ = 0x7FFFFFFF,
} EReserveType;

typedef enum {
    REMINDER_REPEAT_NONE = 0,
    REMINDER_REPEAT_EVERYDAY = 1,
    REMINDER_REPEAT_MON_FRI = 2,
    REMINDER_REPEAT_WEEKEND = 3,
    REMINDER_REPEAT_MANUAL = 4,
    REMINDER_REPEAT_TYPE_MIN_ = -0x7FFFFFFF - 1,
    REMINDER_REPEAT_TYPE_MAX_ = 0x7FFFFFFF,
} EReminderRepeatType;

typedef enum {
    REMINDER_STREAM_BROADCAST = 0,
    REMINDER_STREAM_VIRTUAL = 1,
    REMINDER_STREAM_REMOTE = 2,
} EReminderStreamType;

/* Channel types of the television; 1 and 3 are analogue. */
typedef enum {
    REMINDER_CHANNEL_TYPE_ALL = -1,
    REMINDER_CHANNEL_TYPE_ATV = 1,
    REMINDER_CHANNEL_TYPE_DTV = 2,
    REMINDER_CHANNEL_TYPE_CATV = 3,
    REMINDER_CHANNEL_TYPE_CDTV = 4,
    REMINDER_CHANNEL_TYPE_IP = 5,
    REMINDER_CHANNEL_TYPE_VIRTUAL = 6,
    REMINDER_CHANNEL_TYPE_SDTV = 7,
} EChannelType;

typedef enum {
    REM_ORDER_BY_START_TIME = 0,
    REM_ORDER_BY_TITLE = 1,
    REM_ORDER_BY_CHANNEL_NUMBER = 2,
} EOrderByType;

typedef enum {
    REM_EXTRACT_SCHEDULED_AND_FAILED = 0,
    REM_EXTRACT_RESERVE_TYPE_3 = 1,
    REM_EXTRACT_SCHEDULED = 2,
    REM_EXTRACT_FAILED = 3,
    REM_EXTRACT_ALL_BOOKINGS = 4,
} EExtractType;

typedef enum {
    REM_SCHEDULED_VIEWING = 0,
    REM_SCHEDULED_RECORDING = 1,
    REM_SCHEDULED_ALL = 2,
} EScheduledType;

/* Keys of DeleteMatchingRemindItems. */
typedef enum {
    REM_DELETE_BY_SERVICE_ID = 0,
    REM_DELETE_BY_CHANNEL = 1,
    REM_DELETE_BY_RESERVE_TYPE = 2,
    REM_DELETE_BY_PROGRAM_CRID = 3,
    REM_DELETE_BY_GROUP_CRID = 4,
    REM_DELETE_BY_SOURCE = 5,
    REM_DELETE_BY_STREAM_TYPE = 6,
    REM_DELETE_BY_SERIES_CRID = 7,
} EDeleteType;

/* Whose alternative broadcasts a list holds: other showings of the programme of the item being
   booked, or of the programmes of the stored bookings it conflicts with. */
typedef enum {
    REM_ALTERNATIVE_FOR_ITEM = 0,
    REM_ALTERNATIVE_FOR_CONFLICTING = 1,
} ERemAlterativeType;

#ifdef __cplusplus
}
#endif

#endif
