// DataControl
