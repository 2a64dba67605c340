// Makes any call of any operation of platform/ fail.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tests {

// Which calls of one operation fail.
struct FaultPlan {
  std::string operation;    // "files.CreateFileA"; empty: none
  int call = 0;             // the number of the call, from 1; 0: every call
  bool isSuspended = true;  // while set, calls neither count nor fail
  std::map<std::string, int> calls;
  int given = 0;  // the number of failures so far

  bool Fails(const std::string& name);
};

struct OperationGuard {
  virtual ~OperationGuard() = default;
};

struct Operation {
  std::string table;
  std::string name;  // "files.CreateFileA"
  std::function<std::unique_ptr<OperationGuard>(FaultPlan*)> guard;
};

// All operations of all tables.
std::vector<Operation> AllOperations();

// While it exists, all operations fail according to the plan. What an operation allocates doesn't
// count (allocations.h).
class FaultyPlatform {
 public:
  explicit FaultyPlatform(FaultPlan* plan);
  ~FaultyPlatform();
  FaultyPlatform(const FaultyPlatform&) = delete;
  FaultyPlatform& operator=(const FaultyPlatform&) = delete;

 private:
  std::vector<std::unique_ptr<OperationGuard>> m_guards;
};

}  // namespace tests
