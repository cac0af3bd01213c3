/*
 * What the shared library exports. It is built with hidden visibility: only the classes and C
 * functions marked REMINDER_EXPORT are part of its interface; everything else stays inside.
 * Usable from C. Including this header also gives the version macros (ReminderVersion.h).
 */
#ifndef REMINDER_EXPORT_H
#define REMINDER_EXPORT_H

#include "ReminderVersion.h"

#if defined(__GNUC__) || defined(__clang__)
#define REMINDER_EXPORT __attribute__((visibility("default")))
#else
#define REMINDER_EXPORT
#endif

#endif
