/* A host application as others build one: starts a capture and stops it.
 *
 *   host DEVICE CONFIG OUTPUT        exit code 0 when it ran, 1 when it did not start
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
