// ReminderAPIUtil
