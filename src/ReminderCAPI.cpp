// ReminderCAPI
