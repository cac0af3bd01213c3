// RemindInfoCWrapper
