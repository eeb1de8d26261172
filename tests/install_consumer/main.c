/* Links against the installed library and calls a release function: proves
 * that header, library and package files were installed where they belong. */
#include <vekmesh.h>

int main(void) {
  freeAllArray();
  freeAllArray();
  return 0;
}
