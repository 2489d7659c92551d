/*
 * MP4 reading API: the subset of the mp4v2 C interface that the decoder module calls.
 *
 * Our own reader (mp4/src) implements these declarations with mp4v2's names, types, constants
 * and results, so that the job code reads as if it called mp4v2. Configuring with
 * -DZORV_SYSTEM_MP4V2=ON links a system libmp4v2 against its own <mp4v2/mp4v2.h> instead.
 *
 * Conventions shared by every call: a NULL handle gives the call's error value; nothing is
 * printed; returned byte buffers are malloc'd copies released with MP4Free; strings from
 * MP4GetTrackType live until MP4Close.
 */
#ifndef ZORV_MP4V2_MP4V2_H
#define ZORV_MP4V2_MP4V2_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

/* Our reader is linked into the module, which exports nothing but Decode. */
#ifndef MP4V2_EXPORT
#define MP4V2_EXPORT
#endif

#if defined(__cplusplus)
#define MP4V2_DEFAULT(x) = x
extern "C" {
#else
#define MP4V2_DEFAULT(x)
#endif

typedef void* MP4FileHandle;
typedef uint32_t MP4TrackId;
typedef uint32_t MP4SampleId;
typedef uint64_t MP4Timestamp;
typedef uint64_t MP4Duration;
typedef uint32_t MP4EditId;

#define MP4_INVALID_FILE_HANDLE ((MP4FileHandle)NULL)
#define MP4_INVALID_TRACK_ID ((MP4TrackId)0)
#define MP4_INVALID_SAMPLE_ID ((MP4SampleId)0)
#define MP4_INVALID_TIMESTAMP ((MP4Timestamp)-1)
#define MP4_INVALID_DURATION ((MP4Duration)-1)
#define MP4_INVALID_EDIT_ID ((MP4EditId)0)

#define MP4_IS_VALID_FILE_HANDLE(x) ((x) != MP4_INVALID_FILE_HANDLE)
#define MP4_IS_VALID_TRACK_ID(x) ((x) != MP4_INVALID_TRACK_ID)
#define MP4_IS_VALID_SAMPLE_ID(x) ((x) != MP4_INVALID_SAMPLE_ID)
#define MP4_IS_VALID_TIMESTAMP(x) ((x) != MP4_INVALID_TIMESTAMP)
#define MP4_IS_VALID_DURATION(x) ((x) != MP4_INVALID_DURATION)
#define MP4_IS_VALID_EDIT_ID(x) ((x) != MP4_INVALID_EDIT_ID)

#define MP4_OD_TRACK_TYPE "odsm"
#define MP4_SCENE_TRACK_TYPE "sdsm"
#define MP4_AUDIO_TRACK_TYPE "soun"
#define MP4_VIDEO_TRACK_TYPE "vide"
#define MP4_HINT_TRACK_TYPE "hint"
#define MP4_CNTL_TRACK_TYPE "cntl"
#define MP4_TEXT_TRACK_TYPE "text"
#define MP4_SUBTITLE_TRACK_TYPE "sbtl"
#define MP4_SUBPIC_TRACK_TYPE "subp"

#define MP4_SECONDS_TIME_SCALE 1
#define MP4_MILLISECONDS_TIME_SCALE 1000
#define MP4_MICROSECONDS_TIME_SCALE 1000000
#define MP4_NANOSECONDS_TIME_SCALE 1000000000
#define MP4_NSECS_TIME_SCALE MP4_NANOSECONDS_TIME_SCALE

#define MP4_MPEG4_USAC_AUDIO_TYPE 42
#define MP4_MPEG4_AAC_XHE_AUDIO_TYPE MP4_MPEG4_USAC_AUDIO_TYPE

#define MP4_CLOSE_DO_NOT_COMPUTE_BITRATE 0x00000001

/* iTunes-style metadata (public layout, see MP4ItmfGetItemsByMeaning). */
typedef enum MP4ItmfBasicType_e {
    MP4_ITMF_BT_IMPLICIT = 0,
    MP4_ITMF_BT_UTF8 = 1,
    MP4_ITMF_BT_UTF16 = 2,
    MP4_ITMF_BT_SJIS = 3,
    MP4_ITMF_BT_HTML = 6,
    MP4_ITMF_BT_XML = 7,
    MP4_ITMF_BT_UUID = 8,
    MP4_ITMF_BT_ISRC = 9,
    MP4_ITMF_BT_MI3P = 10,
    MP4_ITMF_BT_GIF = 12,
    MP4_ITMF_BT_JPEG = 13,
    MP4_ITMF_BT_PNG = 14,
    MP4_ITMF_BT_URL = 15,
    MP4_ITMF_BT_DURATION = 16,
    MP4_ITMF_BT_DATETIME = 17,
    MP4_ITMF_BT_GENRES = 18,
    MP4_ITMF_BT_INTEGER = 21,
    MP4_ITMF_BT_RIAA_PA = 24,
    MP4_ITMF_BT_UPC = 25,
    MP4_ITMF_BT_BMP = 27,
    MP4_ITMF_BT_UNDEFINED = 255
} MP4ItmfBasicType;

typedef struct MP4ItmfData_s {
    uint8_t typeSetIdentifier;
    MP4ItmfBasicType typeCode;
    uint32_t locale;
    uint8_t* value;     /* not NUL-terminated; NULL when empty */
    uint32_t valueSize;
} MP4ItmfData;

typedef struct MP4ItmfDataList_s {
    MP4ItmfData* elements;
    uint32_t size;
} MP4ItmfDataList;

typedef struct MP4ItmfItem_s {
    void* __handle;
    char* code;
    char* mean;
    char* name;
    MP4ItmfDataList dataList;
} MP4ItmfItem;

typedef struct MP4ItmfItemList_s {
    MP4ItmfItem* elements;
    uint32_t size;
} MP4ItmfItemList;

/* file */
MP4V2_EXPORT MP4FileHandle MP4Read(const char* fileName);
MP4V2_EXPORT void MP4Close(MP4FileHandle hFile, uint32_t flags MP4V2_DEFAULT(0));

/* file properties */
MP4V2_EXPORT uint32_t MP4GetTimeScale(MP4FileHandle hFile);
MP4V2_EXPORT uint8_t MP4GetAudioProfileLevel(MP4FileHandle hFile);

/* tracks */
MP4V2_EXPORT uint32_t MP4GetNumberOfTracks(MP4FileHandle hFile, const char* type MP4V2_DEFAULT(NULL),
                                           uint8_t subType MP4V2_DEFAULT(0));
MP4V2_EXPORT MP4TrackId MP4FindTrackId(MP4FileHandle hFile, uint16_t index, const char* type MP4V2_DEFAULT(NULL),
                                       uint8_t subType MP4V2_DEFAULT(0));

/* track properties */
MP4V2_EXPORT const char* MP4GetTrackType(MP4FileHandle hFile, MP4TrackId trackId);
MP4V2_EXPORT uint32_t MP4GetTrackTimeScale(MP4FileHandle hFile, MP4TrackId trackId);
MP4V2_EXPORT MP4Duration MP4GetTrackDuration(MP4FileHandle hFile, MP4TrackId trackId);
MP4V2_EXPORT bool MP4GetTrackESConfiguration(MP4FileHandle hFile, MP4TrackId trackId, uint8_t** ppConfig,
                                             uint32_t* pConfigSize);
MP4V2_EXPORT bool MP4GetTrackBytesProperty(MP4FileHandle hFile, MP4TrackId trackId, const char* propName,
                                           uint8_t** ppValue, uint32_t* pValueSize);
MP4V2_EXPORT MP4SampleId MP4GetTrackNumberOfSamples(MP4FileHandle hFile, MP4TrackId trackId);
MP4V2_EXPORT int MP4GetTrackAudioChannels(MP4FileHandle hFile, MP4TrackId trackId);

/* edit lists: raw media_time (media ticks) and segment_duration (movie ticks) */
MP4V2_EXPORT MP4Timestamp MP4GetTrackEditMediaStart(MP4FileHandle hFile, MP4TrackId trackId, MP4EditId editId);
MP4V2_EXPORT MP4Duration MP4GetTrackEditDuration(MP4FileHandle hFile, MP4TrackId trackId, MP4EditId editId);

/* time conversions */
MP4V2_EXPORT MP4Timestamp MP4ConvertToTrackTimestamp(MP4FileHandle hFile, MP4TrackId trackId,
                                                     uint64_t timeStamp, uint32_t timeScale);
MP4V2_EXPORT uint64_t MP4ConvertFromTrackTimestamp(MP4FileHandle hFile, MP4TrackId trackId,
                                                   MP4Timestamp timeStamp, uint32_t timeScale);

/* samples */
MP4V2_EXPORT MP4SampleId MP4GetSampleIdFromTime(MP4FileHandle hFile, MP4TrackId trackId, MP4Timestamp when,
                                                bool wantSyncSample MP4V2_DEFAULT(false));
MP4V2_EXPORT int8_t MP4GetSampleSync(MP4FileHandle hFile, MP4TrackId trackId, MP4SampleId sampleId);
MP4V2_EXPORT MP4Timestamp MP4GetSampleTime(MP4FileHandle hFile, MP4TrackId trackId, MP4SampleId sampleId);
MP4V2_EXPORT bool MP4ReadSample(MP4FileHandle hFile, MP4TrackId trackId, MP4SampleId sampleId, uint8_t** ppBytes,
                                uint32_t* pNumBytes, MP4Timestamp* pStartTime MP4V2_DEFAULT(NULL),
                                MP4Duration* pDuration MP4V2_DEFAULT(NULL),
                                MP4Duration* pRenderingOffset MP4V2_DEFAULT(NULL),
                                bool* pIsSyncSample MP4V2_DEFAULT(NULL));
MP4V2_EXPORT void MP4Free(void* p);

/* iTunes metadata */
MP4V2_EXPORT MP4ItmfItemList* MP4ItmfGetItemsByMeaning(MP4FileHandle hFile, const char* meaning, const char* name);
MP4V2_EXPORT void MP4ItmfItemListFree(MP4ItmfItemList* list);

#if defined(__cplusplus)
}
#endif

#endif
