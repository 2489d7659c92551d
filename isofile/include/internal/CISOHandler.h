// 'hdlr' handler reference (ISO/IEC 14496-12, 8.4.3): the media type of a track ("soun" ...).
#pragma once

#include <cstdint>

#include "CISOBox.h"

class CISOHandler : public CISOBox {
public:
    CISOHandler() : CISOBox(kBoxHdlr) {}
    // The handler type as a big-endian four-character value.
    uint32_t HandlerType() const { return handlerType_; }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override;

private:
    uint32_t handlerType_ = 0;
};
