// The calling convention of everything that the host or the system calls by pointer.
#pragma once

#if defined(_WIN32)
#define QV_STDCALL __stdcall
#else
#define QV_STDCALL
#endif
