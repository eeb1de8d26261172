// The DLL's entry point. It pins the library in the process, the counterpart
// of the ELF build's -z nodelete: OpenMP (linked in statically) keeps its
// worker threads parked after a parallel loop, and a host that calls
// FreeLibrary afterwards would have them wake in unmapped code.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    // A pinned module stays mapped until the process ends, whatever the
    // reference count says. Failing to pin is not a reason to refuse loading.
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                       reinterpret_cast<LPCWSTR>(&DllMain), &self);
  }
  return TRUE;
}
