// Boxes kept as raw payload bytes: top-level 'free', 'skip', 'uuid' and 'udta' (all recorded as
// 'free' and not interpreted) and the QuickTime 'wide' placeholder (CQTPlaceholderAtom). Only
// the first isolimits::kMaxKeptPayloadBytes of the payload are kept; the rest is skipped unread.
#pragma once

#include <cstdint>
#include <vector>

#include "CISOBox.h"

class CISOFreeSpaceBox : public CISOBox {
public:
    explicit CISOFreeSpaceBox(uint32_t type = kBoxFree) : CISOBox(type) {}
    // The payload's first bytes (all of it when it is short).
    const std::vector<uint8_t>& Payload() const { return payload_; }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    std::vector<uint8_t> payload_;
};

class CQTPlaceholderAtom : public CISOFreeSpaceBox {
public:
    CQTPlaceholderAtom() : CISOFreeSpaceBox(kBoxWide) {}
};
