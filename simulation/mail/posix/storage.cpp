#include "simulation/mail/storage.h"

#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-infile.h>
#include <gsf/gsf-input-memory.h>
#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-outfile.h>
#include <gsf/gsf-output-memory.h>
#include <gsf/gsf-utils.h>

#include <memory>

#include "simulation/mail/mailreader.h"
#include "simulation/mail/posix/unref.h"

namespace simulation::mail {

namespace {

using InputPointer = std::unique_ptr<GsfInput, Unref>;
using InfilePointer = std::unique_ptr<GsfInfile, Unref>;
using OutputPointer = std::unique_ptr<GsfOutput, Unref>;

[[noreturn]] void RaiseDamaged() {
  throw MailError("the compound file is damaged");
}

class Reader {
 public:
  explicit Reader(std::size_t fileSize) : m_left(fileSize) {}

  Storage Read(GsfInfile* from, int depth) {
    Storage storage;
    const int count = gsf_infile_num_children(from);
    for (int i = 0; i < count; ++i) {
      const char* const name = gsf_infile_name_by_index(from, i);
      const InputPointer child(gsf_infile_child_by_index(from, i));
      if (name == nullptr || !child) RaiseDamaged();
      if (GSF_IS_INFILE(child.get()) && gsf_infile_num_children(GSF_INFILE(child.get())) >= 0) {
        if (depth < kDeepestStorage) {
          storage.storages.emplace(name, Read(GSF_INFILE(child.get()), depth + 1));
        }
      } else {
        storage.streams.emplace(name, Bytes(child.get()));
      }
    }
    return storage;
  }

 private:
  std::string Bytes(GsfInput* stream) {
    const gsf_off_t size = gsf_input_size(stream);
    if (size < 0 || static_cast<std::size_t>(size) > m_left) RaiseDamaged();
    m_left -= static_cast<std::size_t>(size);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    if (!bytes.empty() &&
        gsf_input_read(stream, bytes.size(), reinterpret_cast<guint8*>(bytes.data())) == nullptr) {
      RaiseDamaged();
    }
    return bytes;
  }

  std::size_t m_left;
};

void Write(const Storage& storage, GsfOutfile* to) {
  for (const auto& [name, bytes] : storage.streams) {
    const OutputPointer stream(gsf_outfile_new_child(to, name.c_str(), FALSE));
    gsf_output_write(stream.get(), bytes.size(), reinterpret_cast<const guint8*>(bytes.data()));
    gsf_output_close(stream.get());
  }
  for (const auto& [name, child] : storage.storages) {
    const OutputPointer folder(gsf_outfile_new_child(to, name.c_str(), TRUE));
    Write(child, GSF_OUTFILE(folder.get()));
    gsf_output_close(folder.get());
  }
}

}  // namespace

Storage ReadCompoundFile(std::string_view bytes) {
  if (!HasRoot(bytes)) RaiseDamaged();  // libgsf would lose the memory of its neighbours
  const InputPointer input(gsf_input_memory_new(reinterpret_cast<const guint8*>(bytes.data()),
                                                static_cast<gsf_off_t>(bytes.size()),
                                                /*needs_free=*/FALSE));
  GError* error = nullptr;
  const InfilePointer file(gsf_infile_msole_new(input.get(), &error));
  g_clear_error(&error);
  if (!file) RaiseDamaged();
  return Reader(bytes.size()).Read(file.get(), 0);
}

std::string WriteCompoundFile(const Storage& root) {
  const OutputPointer memory(gsf_output_memory_new());
  const std::unique_ptr<GsfOutfile, Unref> file(gsf_outfile_msole_new(memory.get()));
  Write(root, file.get());
  if (!gsf_output_close(GSF_OUTPUT(file.get()))) {
    throw MailError("a compound file can't be written");
  }
  const auto* const written = GSF_OUTPUT_MEMORY(memory.get());
  return {reinterpret_cast<const char*>(
              gsf_output_memory_get_bytes(const_cast<GsfOutputMemory*>(written))),
          static_cast<std::size_t>(gsf_output_size(memory.get()))};
}

}  // namespace simulation::mail
