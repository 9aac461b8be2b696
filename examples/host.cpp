// Records from a modem until Enter is pressed.
//
//   host_cpp DEVICE CONFIG OUTPUT          host_cpp COM7 wcdma-signalling.cfg drive.isf
#include <corvane.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <string>

// A running capture: begins with the object and ends with it, however its scope is left. One at a
// time: the library has one capture slot, and no lock around it.
//
// Let it live on the stack of a function, or in an object that does. Not in a static object of a
// DLL, whose destructor runs while the DLL unloads: CorvaneStop waits there for a thread that
// cannot end. The same goes for DllMain and CorvaneStart.
class Capture {
 public:
  // Throws when the capture cannot be started.
  Capture(const std::string& device, const std::string& config, const std::string& output) {
    // The library never cuts a name: one that is too long ends the process.
    if (device.size() > 63 || config.size() > 259 || output.size() > 259) {
      throw std::invalid_argument("A name is too long");
    }
    if (!CorvaneStart(device.c_str(), config.c_str(), output.c_str())) {
      throw std::runtime_error("The capture did not start");
    }
  }

  // A process that ends without this (Ctrl-C, std::exit, a crash) leaves a file without index and
  // trailer. The tools still read it, as one that was not closed.
  ~Capture() { CorvaneStop(); }

  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;
};

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: host_cpp DEVICE CONFIG OUTPUT\n";
    return 2;
  }
  try {
    const Capture capture(argv[1], argv[2], argv[3]);
    // The library prints its diagnostics on standard output. A program that has redirected that to
    // a pipe has to read the pipe all the while: once it is full, the capture waits.
    std::cerr << "Capturing into " << argv[3] << ". Enter ends it.\n";
    std::cin.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
