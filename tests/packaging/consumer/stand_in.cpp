// A stand-in for the library, as a host's own tests on another system have one: starts when there
// is a configuration file, and then has a file under the capture's name.
#include <corvane.h>

#include <fstream>

bool CorvaneStart(const char* deviceName, const char* configPath, const char* outputPath) {
  std::ofstream capture(outputPath, std::ios::binary);
  return deviceName != nullptr && capture.is_open() && std::ifstream(configPath).is_open();
}

void CorvaneStop() {}
