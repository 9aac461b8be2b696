#include "capture/transport.h"

namespace corvane {

bool cIO::Open(const char*, ConnectionHandler, void*, ConnectionHandler, void*) { return false; }

void cIO::Close() {}

bool cIO::Write(const void*, std::uint32_t) { return false; }

bool cIO::IsOpen() const { return false; }

}  // namespace corvane
