// The two FAAD2 jobs, called by the AAC job's router on the job thread.
//
// Neither releases the DecodeJob: the router does that once the job function has returned.
// Each posts its own final message (msgDone or msgFailed), or none after a cancel.
#pragma once

#include <neaacdec.h>

#include "DecodeJob.h"
#include "mp4v2/mp4v2.h"

enum class Mp4AacOutcome {
    Finished,         // the job has ended and posted whatever it had to post
    SiblingHandOver,  // the track has no samples: the router closes decoder and file and hands
                      // the request to the sibling module; nothing has been posted
};

// AAC in MP4. The router has opened `file`, chosen `track`, created and configured `decoder`
// and checked the configuration with NeAACDecAudioSpecificConfig. This fetches the ES
// configuration again, initialises the decoder (NeAACDecInit2) and runs set-up and sample
// loop. `decoder` may be replaced (re-created without implicit SBR up-sampling); the router
// closes whatever handle it holds on return, and closes the file.
Mp4AacOutcome RunMp4AacJob(DecodeJob& job, NeAACDecHandle& decoder, MP4FileHandle file, MP4TrackId track,
                           PcmBlock& block);

// Raw ADTS/ADIF stream: opens job.path itself and owns everything it opens.
void RunRawAacJob(DecodeJob& job, PcmBlock& block);

// Creates a FAAD2 decoder configured for float output without down-mixing (optionally without
// implicit SBR up-sampling). Null on failure.
NeAACDecHandle OpenFloatDecoder(bool dontUpSampleImplicitSbr);

// Makes the next frame the decoder decodes yield its samples; called right after every
// initialisation. Freshly initialised, FAAD2 reports no samples for the first frame it decodes
// (its frame counter starts at 0). The encoder delay counts sample frames from the stream's first
// frame, so a withheld first frame would have to count as part of the delay, which cannot work
// for a delay shorter than one frame (an edit list starting less than a frame in). With the
// counter started at 1 every frame's samples come out and the delay is skipped exactly as the
// file states it. A reset after a seek passes -1 instead, leaving the counter past the first
// frame.
void StartFrameCounter(NeAACDecHandle decoder);
