// ReminderAPI
