// Sinks that nobody owns stay to the end of the process by design: the one on a window, those that
// the scan and an inline reply make, those whose subscription failed, and the second object of each
// explorer. A leak checker is told so; what they hold of the host is counted by the host's ledger.
extern "C" const char* __lsan_default_suppressions();

extern "C" const char* __lsan_default_suppressions() {
  return "leak:addin::AttachMailEvent\n"
         "leak:CDlpAddinConnect::NewInspector\n"
         "leak:CDlpAddinConnect::TrackExplorers\n"
         "leak:DlpExplorerEvent_10::Initialize\n"
         "leak:DlpExplorerEvent_10::Uninitialize\n";
}
