/*
 * zorv_aac: the host interface of the decoder module.
 *
 * A host loads the module (zorv_aac.dll; libzorv_aac.so on Linux) and calls its only export,
 * Decode, once per file. Decode starts a job on a thread of its own and returns that thread's
 * handle at once. The job then posts thread messages to hostThreadId:
 *
 *   msgFormat  wParam = PcmBlock*  once, before any block; format fields filled
 *   msgBlock   wParam = PcmBlock*  once per block of interleaved PCM
 *   msgDone    wParam = 0          the whole stream was delivered (final)
 *   msgFailed  wParam = 0          the job ended without delivering the stream (final)
 *
 * lParam is 0 for every message. After msgFormat and msgBlock the job sleeps until the host
 * calls SetEvent(block->readyEvent); before signalling, the host reads the record (and copies
 * byteCount bytes at data) and may set cancel to stop the job. A job posts nothing after
 * msgDone or msgFailed, and a cancelled job may end with no final message at all: the host
 * learns that the job is over when the returned thread handle is signalled. The host closes
 * that handle; it never closes readyEvent.
 */
#ifndef ZORV_DECODE_H
#define ZORV_DECODE_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
typedef wchar_t ZorvPathChar;
typedef unsigned long ZorvDword; /* DWORD */
#else
typedef char16_t ZorvPathChar;
typedef uint32_t ZorvDword;
#endif

#ifdef __cplusplus
extern "C" {
#endif

#pragma pack(push, 1)
/* The record a job hands the host; byte-packed, 54 bytes on 64-bit systems. */
typedef struct PcmBlock {
    uint8_t* data;          /*  0: this block's PCM, valid until readyEvent is signalled */
    uint32_t byteCount;     /*  8: bytes at data */
    double progress;        /* 12: percent of the stream decoded */
    uint32_t channels;      /* 20 */
    uint32_t sampleRate;    /* 24: frames per second */
    uint32_t bitsPerSample; /* 28: 32 for AAC paths, the stream's depth for lossless */
    uint32_t isFloat;       /* 32: 1 = IEEE float samples, 0 = signed little-endian integers */
    void* readyEvent;       /* 36: signal with SetEvent once the record has been read */
    uint8_t cancel;         /* 44: set non-zero before signalling to stop the job */
    void* jobThread;        /* 45: the job's thread (lossless jobs only) */
    uint8_t lossySource;    /* 53: 1 for AAC sources, 0 for lossless */
} PcmBlock;
#pragma pack(pop)

/* Returns the job thread's handle, or NULL when no job could be started. */
typedef void* (*ZorvDecodeFn)(const ZorvPathChar* path, ZorvDword hostThreadId, uint64_t* startPosition,
                              unsigned int msgFailed, unsigned int msgDone, unsigned int msgBlock,
                              unsigned int msgFormat, ZorvDword trackNumber);

#ifdef __cplusplus
}
static_assert(sizeof(PcmBlock) == 54, "PcmBlock is a 54-byte packed record");
static_assert(offsetof(PcmBlock, byteCount) == 8 && offsetof(PcmBlock, progress) == 12 &&
                  offsetof(PcmBlock, channels) == 20 && offsetof(PcmBlock, sampleRate) == 24 &&
                  offsetof(PcmBlock, bitsPerSample) == 28 && offsetof(PcmBlock, isFloat) == 32 &&
                  offsetof(PcmBlock, readyEvent) == 36 && offsetof(PcmBlock, cancel) == 44 &&
                  offsetof(PcmBlock, jobThread) == 45 && offsetof(PcmBlock, lossySource) == 53,
              "PcmBlock offsets are part of the host interface");
#endif

#endif
