#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "agentkit/agentkit.h"

namespace agentkit {
namespace {

// The sequence number at the end of channel::kBlockNameFormat.
constexpr std::size_t kNumberDigits = 5;

std::atomic_ref<std::int32_t> StatusOf(const SharedView& view) {
  return std::atomic_ref<std::int32_t>(reinterpret_cast<RequestBlock*>(view.Data())->status);
}

// The name up to its NUL; empty if there is no NUL.
std::string_view BlockName(const ContentRequest& record) {
  const void* const end = std::memchr(record.szBlockName, '\0', sizeof(record.szBlockName));
  if (end == nullptr) {
    return {};
  }
  return {record.szBlockName,
          static_cast<std::size_t>(static_cast<const char*>(end) - record.szBlockName)};
}

}  // namespace

bool IsSound(const ContentRequest& record) {
  if (record.dwRequestKind != channel::kRequestKindContent ||
      record.dwBlockLength < channel::kBlockOverhead) {
    return false;
  }
  char expected[sizeof(record.szBlockName)];
  std::snprintf(expected, sizeof(expected), channel::kBlockNameFormat,
                static_cast<unsigned>(record.dwProcessId), static_cast<unsigned>(record.dwThreadId),
                0);
  const std::string_view beginning(expected, std::strlen(expected) - kNumberDigits);
  const std::string_view name = BlockName(record);
  return name.size() == beginning.size() + kNumberDigits && name.starts_with(beginning) &&
         std::all_of(name.begin() + static_cast<std::ptrdiff_t>(beginning.size()), name.end(),
                     [](char digit) { return digit >= '0' && digit <= '9'; });
}

bool Block::Create(const ContentRequest& request) {
  Close();
  if (!IsSound(request) || request.dwBlockLength > kLargest ||
      !m_view.Create(std::string(BlockName(request)), request.dwBlockLength)) {
    return false;
  }
  m_length = request.dwBlockLength;
  return true;
}

void Block::Close() {
  m_view.Close();
  m_length = 0;
  m_isComplete = false;
  m_answer = 0;
}

Block::State Block::Look() {
  // Acquire: pairs with the exchange that stores 1, so that the payload is in place once the 1 is
  // seen.
  const std::int32_t status = StatusOf(m_view).load(std::memory_order_acquire);
  m_isComplete = m_isComplete || status == channel::kStatusWaiting;
  if (m_answer != 0 && status == m_answer) {
    return State::kAnswered;  // even an answer of 5, which looks like the add-in's own
  }
  if (status == channel::kStatusGivenUp) {
    return State::kGivenUp;
  }
  if (!m_isComplete) {
    return State::kFilling;
  }
  if (m_answer == 0) {
    return State::kWaiting;
  }
  return status == channel::kStatusWaiting ? State::kTaken : State::kAnswered;
}

bool Block::Read(std::string* payload, std::string* name) const {
  name->clear();
  payload->assign(reinterpret_cast<const char*>(m_view.Data()) + channel::kPayloadOffset,
                  m_length - channel::kPayloadOffset);
  // Works on the copy from here: a requester that isn't the add-in may still change the block.
  const std::size_t nameEnd = payload->size() - 1;
  const std::size_t payloadEnd = payload->rfind('\0', nameEnd - 1);
  if ((*payload)[nameEnd] != '\0' || payloadEnd == std::string::npos) {
    return false;
  }
  name->assign(*payload, payloadEnd + 1, nameEnd - payloadEnd - 1);
  payload->resize(payloadEnd);
  return true;
}

bool Block::Answer(ActionCode answer) {
  if (m_answer != 0) {
    return false;
  }
  std::int32_t expected = channel::kStatusWaiting;
  // Only over a 1: an answer stored over the 5 of a requester that has given up would look as if it
  // might still be taken. Release: pairs with the exchange that takes the answer.
  if (!StatusOf(m_view).compare_exchange_strong(expected, answer, std::memory_order_acq_rel)) {
    return false;
  }
  m_isComplete = true;
  m_answer = channel::EndsWait(answer) ? answer : 0;
  return true;
}

void Block::ForceStatus(std::int32_t status) {
  StatusOf(m_view).exchange(status, std::memory_order_acq_rel);
  if (channel::EndsWait(status)) {
    m_answer = status;
  }
}

}  // namespace agentkit
