// ReminderAPIImp
