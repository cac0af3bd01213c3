// Profile
