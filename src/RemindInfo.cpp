// RemindInfo
