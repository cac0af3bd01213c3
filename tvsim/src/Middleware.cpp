// Middleware
