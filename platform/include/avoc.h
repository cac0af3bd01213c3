/* Audio/video output control. */
#ifndef PLATFORM_AVOC_H
#define PLATFORM_AVOC_H

#ifdef __cplusplus
extern "C" {
#endif

/* Fills `mode` (0 = not in PC mode) for output `output`; returns 0 on success. */
int avoc_get_pc_mode(int output, int* mode);

#ifdef __cplusplus
}
#endif

#endif
