// The user's xHE-AAC loudness and DRC settings. The host stores them once before it starts
// jobs; jobs only read them.
#include <atomic>

#include "tarnbase.h"

namespace {
std::atomic<bool> drcEnabled{true};
std::atomic<int> loudness{-1};  // FDK's "use the library default" target
std::atomic<int> effect{0};     // 0: leave the decoder's default effect
}  // namespace

extern "C" {

bool XHEAAC_DRC_Enabled(void) { return drcEnabled.load(); }
int XHEAAC_DRC_Get_Loudness(void) { return loudness.load(); }
int XHEAAC_DRC_Get_Effect(void) { return effect.load(); }

void TARN_SetXheAacDrcSettings(bool enabled, int targetLoudness, int drcEffect) {
    drcEnabled.store(enabled);
    loudness.store(targetLoudness);
    effect.store(drcEffect);
}

}  // extern "C"
