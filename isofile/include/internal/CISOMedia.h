// 'mdia' media container: media header, handler and media information.
#pragma once

#include <memory>

#include "CISOBox.h"
#include "CISOHandler.h"
#include "CISOMediaHeader.h"
#include "CISOMediaInformation.h"

class CISOMedia : public CISOBox {
public:
    CISOMedia() : CISOBox(kBoxMdia) {}
    const CISOMediaHeader* Header() const { return header_.get(); }
    const CISOHandler* Handler() const { return handler_.get(); }
    const CISOMediaInformation* Information() const { return information_.get(); }

protected:
    void ParsePayload(CISOBoxReader& payload, int depth) override { ParseChildren(payload, depth); }
    std::unique_ptr<CISOBox> CreateChild(uint32_t type) override;
    void AdoptChild(std::unique_ptr<CISOBox> child) override;

private:
    std::unique_ptr<CISOMediaHeader> header_;
    std::unique_ptr<CISOHandler> handler_;
    std::unique_ptr<CISOMediaInformation> information_;
};
