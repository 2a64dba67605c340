// The agent kit for C, and for every language that can call C functions.
//
// agentkit/agentkit.h says what an agent does and is the interface for C++. This one offers the
// same complete agent: it creates the ring, takes the requests from it, creates their blocks, and
// calls a function of yours for each item. docs/protocol.md explains items and answers.
//
//      static int32_t OnRequest(void* context, const AgentKitRequest* request) {
//        return strcmp(request->name, "secret.txt") == 0 ? AGENTKIT_BLOCK : AGENTKIT_GO_ON;
//      }
//      ...
//      AgentKitAgent* agent = AgentKitCreate(OnRequest, NULL, NULL);
//      if (AgentKitStart(agent, 0) != AGENTKIT_OPENED) return 1;
//      AgentKitRun(agent);
//      AgentKitFree(agent);
//
// ERRORS. No function throws or lets an exception out. Where a function can fail it returns
// AGENTKIT_ERROR, and AgentKitErrorText says why. A function that gets a null agent returns
// AGENTKIT_ERROR, too.
//
// OWNERSHIP. AgentKitCreate's caller owns the agent and frees it with AgentKitFree. A request and
// its texts belong to the library and are valid until the handler returns; copy what you need
// later. The handlers and their context belong to you and must outlive the agent.
//
// THREADS. Use one agent from one thread at a time; only AgentKitRequestStop may be called from any
// thread and from a signal handler. The library starts no thread: it calls the handlers from
// AgentKitPoll, AgentKitRun, AgentKitAnswer, AgentKitDrop and AgentKitStop, on the thread of that
// call. A handler may call AgentKitAnswer, AgentKitDrop and AgentKitRequestStop, and nothing else
// of this header. It must return normally: no longjmp. If a handler in C++ throws, the function
// that called it returns AGENTKIT_ERROR and the agent stays usable.
//
// TEXTS are bytes with a length, followed by a NUL that doesn't count. A payload may contain NULs.
// Names, addresses and the paths of attachments are UTF-8. On Windows the paths of the subject's
// and body's files and of the signature image are in the system's ANSI code page, on Linux in
// UTF-8.
//
// VERSIONS. Later versions may append fields to AgentKitRequest and values to the enumerations.
// Nothing else changes within one major version.
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// AgentKitRequest::itemType. Answer a type that isn't in this list with AGENTKIT_GO_ON.
enum {
  AGENTKIT_ITEM_FILE = 1,        // the payload is the path of a file to read
  AGENTKIT_ITEM_RECIPIENTS = 3,  // addresses, each followed by a NUL
  AGENTKIT_ITEM_SENDER = 7,      // the sender's display name
  AGENTKIT_ITEM_ENVELOPE = 8,    // empty; recipients and sender are complete
  AGENTKIT_ITEM_CLOSE = 9        // empty; the mail is complete
};

// Answers to a request.
enum {
  AGENTKIT_LATER = 0,  // from a handler only: AgentKitAnswer follows
  AGENTKIT_BLOCK = 3,  // the mail isn't sent
  AGENTKIT_GO_ON = 4,  // no objection
  AGENTKIT_TAG = 7     // the mail is sent with a tag
};

// The result of a function that failed, and of AgentKitStart.
enum {
  AGENTKIT_ERROR = -1,
  AGENTKIT_OPENED = 0,
  AGENTKIT_OTHER_OWNER = 1,  // the ring exists: another agent's, or a dead one's
  AGENTKIT_UNUSABLE = 2,     // the ring to take over contradicts itself
  AGENTKIT_REFUSED = 3       // the system refused the mapping
};

// How a request ended.
enum {
  AGENTKIT_END_ANSWER_TAKEN = 0,  // the add-in has the answer
  AGENTKIT_END_GIVEN_UP = 1,      // the add-in stopped waiting before it got the answer
  AGENTKIT_END_NOT_TAKEN = 2,     // answered, but the requester is gone
  AGENTKIT_END_UNANSWERED = 3,    // not answered for 300 s: the requester is gone
  AGENTKIT_END_NEVER_FILLED = 4,  // the add-in never filled the block within 15 s
  AGENTKIT_END_REFUSED = 5,       // not used in this interface
  AGENTKIT_END_NO_BLOCK = 6,      // the system refused the block's mapping
  AGENTKIT_END_DROPPED = 7        // AgentKitDrop or AgentKitStop
};

// One item of a mail. The pair (processId, threadId) identifies the mail until its
// AGENTKIT_ITEM_CLOSE; an item may be missing, that one included.
typedef struct AgentKitRequest {
  uint64_t id;         // never 0; an agent uses each number once
  uint32_t itemType;   // AGENTKIT_ITEM_..., or a type of a newer add-in
  uint32_t processId;  // of the program that sends the mail
  uint32_t threadId;   // of the thread in it
  int32_t answer;      // the last one stored, or 0
  const char* payload;
  size_t payloadLength;  // bytes
  const char* name;      // of the item; empty if it has none
  size_t nameLength;     // bytes
  int32_t isWellFormed;  // 0: payload and name couldn't be separated; both are in the payload
} AgentKitRequest;

typedef struct AgentKitAgent AgentKitAgent;

// Called once for each complete request. Returns the answer, or AGENTKIT_LATER. Every other value
// is stored as it is; the add-in treats one that it doesn't know as no answer.
typedef int32_t (*AgentKitOnRequest)(void* context, const AgentKitRequest* request);

// Called once when a request has ended, with AGENTKIT_END_... The agent no longer knows its id.
typedef void (*AgentKitOnEnd)(void* context, const AgentKitRequest* request, int32_t ending);

// A new agent, not started. `onRequest` may be null: everything is answered with AGENTKIT_GO_ON.
// `onEnd` may be null. `context` is passed to both. Null if memory is short.
AgentKitAgent* AgentKitCreate(AgentKitOnRequest onRequest, AgentKitOnEnd onEnd, void* context);

// Frees the agent. Requests that are open end without a call of onEnd. Null is allowed.
void AgentKitFree(AgentKitAgent* agent);

// Uses another ring than the add-in's, for tests. `name` is ASCII and copied; call it before
// AgentKitStart. 0, or AGENTKIT_ERROR.
int32_t AgentKitUseRing(AgentKitAgent* agent, const char* name);

// Creates the ring. If it exists and `takeOver` isn't 0, continues with it: make sure that the
// agent that created it has ended. Stops a started agent first. On Windows, creating the ring needs
// the privilege SeCreateGlobalPrivilege. AGENTKIT_OPENED, or why not.
int32_t AgentKitStart(AgentKitAgent* agent, int32_t takeOver);

// Ends every open request as AGENTKIT_END_DROPPED and closes the ring. 0, or AGENTKIT_ERROR.
int32_t AgentKitStop(AgentKitAgent* agent);

// Takes what is in the ring and looks once at each open request. Never waits; call it every few
// milliseconds. 1 if anything changed, 0 if not, AGENTKIT_ERROR if the agent isn't started.
int32_t AgentKitPoll(AgentKitAgent* agent);

// Calls AgentKitPoll until AgentKitRequestStop, and sleeps 2 ms after one that changed nothing.
// 0, or AGENTKIT_ERROR.
int32_t AgentKitRun(AgentKitAgent* agent);

// Makes AgentKitRun return soon: the one that runs, or else the next one.
void AgentKitRequestStop(AgentKitAgent* agent);

// Answers a request whose handler returned AGENTKIT_LATER. 1 if stored; 0 if the request is
// unknown, already answered or given up; or AGENTKIT_ERROR.
int32_t AgentKitAnswer(AgentKitAgent* agent, uint64_t id, int32_t answer);

// Closes a request without an answer. 1, 0 if the request is unknown, or AGENTKIT_ERROR.
int32_t AgentKitDrop(AgentKitAgent* agent, uint64_t id);

// The number of requests that have a block; 0 for an agent that isn't started.
size_t AgentKitOpenRequests(const AgentKitAgent* agent);

// Why the last function of this agent returned AGENTKIT_ERROR: ASCII, valid until the next call.
// Never null.
const char* AgentKitErrorText(const AgentKitAgent* agent);

#ifdef __cplusplus
}
#endif
