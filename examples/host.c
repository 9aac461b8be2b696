/* Records from a modem until Enter is pressed.
 *
 *   host_c DEVICE CONFIG OUTPUT          host_c COM7 wcdma-signalling.cfg drive.isf
 */
#include <corvane.h>

#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
  if (argc != 4) {
    fprintf(stderr, "usage: host_c DEVICE CONFIG OUTPUT\n");
    return 2;
  }
  const char* device = argv[1];
  const char* config = argv[2];
  const char* output = argv[3];

  /* The library never cuts a name: one that is too long ends the process. */
  if (strlen(device) > 63 || strlen(config) > 259 || strlen(output) > 259) {
    fprintf(stderr, "A name is too long\n");
    return 2;
  }

  /* From a thread of the program, as here. Never from DllMain, nor from a destructor that runs
   * while a DLL unloads: the call waits for a thread, and threads wait for DllMain to return. */
  if (!CorvaneStart(device, config, output)) {
    fprintf(stderr, "The capture did not start\n");
    return 1;
  }

  /* The library prints its diagnostics on standard output. A program that has redirected that to a
   * pipe has to read the pipe all the while: once it is full, the capture waits. */
  fprintf(stderr, "Capturing into %s. Enter ends it.\n", output);
  int key = getchar();
  while (key != '\n' && key != EOF) {
    key = getchar();
  }

  /* A process that ends without this call (Ctrl-C, exit, a crash) leaves a file without index and
   * trailer. The tools still read it, as one that was not closed. */
  CorvaneStop();
  return 0;
}
