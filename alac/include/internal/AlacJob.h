// The lossless job: thread procedure started by Decode when the probe found an ALAC track.
// Owns the DecodeJob (passed as the parameter) and releases it on every way out.
#pragma once

#include "Win32Api.h"

DWORD WINAPI RunAlacJob(LPVOID decodeJob);
