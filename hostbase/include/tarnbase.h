/*
 * The host base library's functions that the decoder module imports.
 *
 * The host application ships the real library; this project builds a stand-in with the same
 * functions (libtarnbase) so the module can be loaded and tested without the host. The
 * stand-in's xHE-AAC settings are whatever the host last stored with
 * TARN_SetXheAacDrcSettings (the command-line host sets them from its flags).
 */
#ifndef ZORV_TARNBASE_H
#define ZORV_TARNBASE_H

#include <stdbool.h>
#include <stdint.h>

#include "Win32Api.h"

#if defined(_WIN32) && defined(ZORV_TARNBASE_BUILDING)
#define TARNBASE_API __declspec(dllexport)
#elif defined(_WIN32)
#define TARNBASE_API __declspec(dllimport)
#elif defined(ZORV_TARNBASE_BUILDING)
#define TARNBASE_API __attribute__((visibility("default")))
#else
#define TARNBASE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* A newly allocated UTF-8 copy of a NUL-terminated UTF-16 string (NULL on failure or for a
 * NULL argument); release it with UNC_freeStr. */
TARNBASE_API char* UNC_UnicodeToUtf8(const WCHAR* text);
TARNBASE_API void UNC_freeStr(char* text);

/* Reorders interleaved PCM in place. pairs holds channelCount (source, destination) byte
 * pairs: after the call, the sample that stood at channel index source of every frame stands
 * at index destination. Samples are 2 bytes for 16 bits, 3 bytes for 20 and 24 bits (the
 * containers the lossless decoder writes), 4 bytes for 32 bits; other widths and channel
 * counts above 8 leave the buffer untouched. */
TARNBASE_API void ChangeChannelOrder(void* buffer, uint32_t frameCount, uint32_t bitsPerSample,
                                     uint32_t channelCount, const uint8_t* pairs);

/* The user's xHE-AAC settings. */
TARNBASE_API bool XHEAAC_DRC_Enabled(void);
TARNBASE_API int XHEAAC_DRC_Get_Loudness(void);
TARNBASE_API int XHEAAC_DRC_Get_Effect(void);

/* Stand-in only: how a host stores the settings above. */
TARNBASE_API void TARN_SetXheAacDrcSettings(bool enabled, int loudness, int effect);

#ifdef __cplusplus
}
#endif

#endif
