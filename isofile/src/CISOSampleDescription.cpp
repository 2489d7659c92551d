// 'stsd' parsing (see CISOSampleDescription.h).
#include "CISOSampleDescription.h"

void CISOSampleDescription::ParsePayload(CISOBoxReader& payload, int) {
    payload.U32();  // version, flags
    entryCount_ = payload.U32();
    payload.RequireEntries(entryCount_, 8);  // every entry has at least a box header
    if (entryCount_ == 0) return;
    const CISOBoxHeader first = ReadHeader(payload);
    firstEntryType_ = first.type;
}
