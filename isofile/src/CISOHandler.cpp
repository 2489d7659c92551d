// 'hdlr' parsing (see CISOHandler.h).
#include "CISOHandler.h"

void CISOHandler::ParsePayload(CISOBoxReader& payload, int) {
    payload.U32();  // version, flags
    payload.U32();  // pre_defined
    handlerType_ = payload.U32();
}
