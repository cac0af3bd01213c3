// ReminderLock
