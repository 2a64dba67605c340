// The contract between the host and an add-in: the dual interface through which the host calls it,
// described by the host's type library AddInDesignerObjects 1.0.
#pragma once

#include "platform/com/comtypes.h"

inline constexpr IID IID__IDTExtensibility2 = {
    0xB65AD801, 0xABAF, 0x11D0, {0xBB, 0x8B, 0x00, 0xA0, 0xC9, 0x0F, 0x27, 0x44}};
inline constexpr GUID LIBID_AddInDesignerObjects = {
    0xAC0714F2, 0x3D04, 0x11D1, {0xAE, 0x7D, 0x00, 0xA0, 0xC9, 0x0F, 0x26, 0xF4}};

// Why the host loads the add-in. Passed as 32 bits.
enum ext_ConnectMode : LONG {
  ext_cm_AfterStartup = 0,
  ext_cm_Startup = 1,
  ext_cm_External = 2,
  ext_cm_CommandLine = 3,
};

// Why the host unloads it.
enum ext_DisconnectMode : LONG {
  ext_dm_HostShutdown = 0,
  ext_dm_UserClosed = 1,
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// The host calls this on its main thread. `custom` is an array of variants and may be null. An
// add-in that keeps one of the objects adds a reference of its own.
struct _IDTExtensibility2 : IDispatch {
  // Slot 7, dispid 1. `application` is the host's application object, `addInInst` the add-in's
  // entry in the host's list.
  virtual HRESULT STDMETHODCALLTYPE OnConnection(IDispatch* application,
                                                 ext_ConnectMode connectMode, IDispatch* addInInst,
                                                 SAFEARRAY** custom) = 0;
  // Slot 8, dispid 2.
  virtual HRESULT STDMETHODCALLTYPE OnDisconnection(ext_DisconnectMode removeMode,
                                                    SAFEARRAY** custom) = 0;
  // Slot 9, dispid 3. The host's list of add-ins has changed.
  virtual HRESULT STDMETHODCALLTYPE OnAddInsUpdate(SAFEARRAY** custom) = 0;
  // Slot 10, dispid 4. Every add-in that loads at start-up is loaded.
  virtual HRESULT STDMETHODCALLTYPE OnStartupComplete(SAFEARRAY** custom) = 0;
  // Slot 11, dispid 5. The host is about to close.
  virtual HRESULT STDMETHODCALLTYPE OnBeginShutdown(SAFEARRAY** custom) = 0;
};

#pragma GCC diagnostic pop
