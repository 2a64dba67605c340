// Every operation of every table of platform/, each with a way of failing, so that a test can let
// any of them fail at any of its calls.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tests {

// Which calls fail. One operation at a time.
struct FaultPlan {
  std::string operation;    // "files.CreateFileA"; empty: none
  int call = 0;             // that call of it, from 1; 0: each one
  bool isSuspended = true;  // what is called meanwhile neither counts nor fails
  std::map<std::string, int> calls;
  int given = 0;

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

// All of them, table by table.
std::vector<Operation> AllOperations();

// For the length of its scope each operation goes by the plan.
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
