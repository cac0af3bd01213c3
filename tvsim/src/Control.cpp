// Control
