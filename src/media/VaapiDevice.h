#pragma once

struct AVBufferRef;

// The machine's VA-API device, opened on first use and kept for the life of the process. Null when
// the machine has no render node or its driver does not start: decoding then runs in software,
// without a word, since that is the ordinary case on machines without a GPU.
class VaapiDevice {
public:
    static AVBufferRef* shared();
};
