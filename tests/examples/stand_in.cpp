// A stand-in for corvane.dll: a library of this system with the same two functions, which writes
// each call as a line to the file that CORVANE_STAND_IN_LOG names, its fields parted by tabs. Only
// the device "refuse" does not start.
#include <corvane.h>

#include <cstdlib>
#include <cstring>
#include <fstream>

namespace {

std::ofstream Log() { return std::ofstream(std::getenv("CORVANE_STAND_IN_LOG"), std::ios::app); }

}  // namespace

bool CorvaneStart(const char* deviceName, const char* configPath, const char* outputPath) {
  Log() << "start\t" << deviceName << '\t' << configPath << '\t' << outputPath << '\n';
  return std::strcmp(deviceName, "refuse") != 0;
}

void CorvaneStop() { Log() << "stop\n"; }
