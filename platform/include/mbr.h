/* Universal remote: tunes a channel of an external box. */
#ifndef PLATFORM_MBR_H
#define PLATFORM_MBR_H

#ifdef __cplusplus
extern "C" {
#endif

/* Sends the channel number to the box on `source`; non-zero on success. */
int mbr_send_channel_number_with_source_type(int major, int minor, int source, int remote);

#ifdef __cplusplus
}
#endif

#endif
