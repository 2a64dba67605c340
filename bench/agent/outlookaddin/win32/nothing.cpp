// A library without a class, to measure what loading any library costs.
#include "platform/com/comtypes.h"

extern "C" __declspec(dllexport) HRESULT STDAPICALLTYPE
    DllGetClassObject(REFCLSID, REFIID, void** object) {
  *object = nullptr;
  return CLASS_E_CLASSNOTAVAILABLE;
}
