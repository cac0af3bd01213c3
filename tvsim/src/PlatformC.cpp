// PlatformC
