// ReminderDBusInfo
