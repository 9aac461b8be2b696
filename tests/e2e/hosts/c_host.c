/* A C99 host application that is linked with the import library: starts a capture, stops it, and
 * ends with 0 when it ran.
 *
 *   c_host DEVICE CONFIG OUTPUT
 */
#include <corvane.h>

int main(int argc, char** argv) {
  if (argc != 4) {
    return 2;
  }
  if (!CorvaneStart(argv[1], argv[2], argv[3])) {
    return 1;
  }
  CorvaneStop();
  return 0;
}
