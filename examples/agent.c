// The same agent as agent.cpp, in C: blocks mails with an attachment named *.key, tags mails to
// more than ten people, lets everything else go. Ends on Ctrl-C.
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <string.h>

#include "agentkit/cinterface.h"

enum { kManyPeople = 10, kMostMails = 64 };

// A mail that is being sent. Each one is checked by one thread of one process.
typedef struct Mail {
  bool isUsed;
  uint32_t processId;
  uint32_t threadId;
  int32_t verdict;
  bool hasFiles;
} Mail;

typedef struct Judge {
  Mail mails[kMostMails];
  size_t next;  // the one to reuse when all are in use
} Judge;

static AgentKitAgent* theAgent;

static void OnSignal(int signal) {
  (void)signal;
  AgentKitRequestStop(theAgent);
}

// The mail that the request belongs to; a new one if there is none.
static Mail* MailOf(Judge* judge, const AgentKitRequest* request) {
  Mail* unused = NULL;
  for (size_t i = 0; i < kMostMails; ++i) {
    Mail* mail = &judge->mails[i];
    if (!mail->isUsed) {
      unused = mail;
    } else if (mail->processId == request->processId && mail->threadId == request->threadId) {
      return mail;
    }
  }
  if (unused == NULL) unused = &judge->mails[judge->next++ % kMostMails];
  *unused = (Mail){true, request->processId, request->threadId, AGENTKIT_GO_ON, false};
  return unused;
}

static bool EndsWith(const char* text, size_t length, const char* end) {
  const size_t endLength = strlen(end);
  return length >= endLength && memcmp(text + length - endLength, end, endLength) == 0;
}

static int32_t Decide(Judge* judge, const AgentKitRequest* request) {
  Mail* mail = MailOf(judge, request);
  switch (request->itemType) {
    case AGENTKIT_ITEM_FILE:
      mail->hasFiles = true;
      if (!EndsWith(request->name, request->nameLength, ".key")) return AGENTKIT_GO_ON;
      return mail->verdict = AGENTKIT_BLOCK;
    case AGENTKIT_ITEM_CLOSE:
      // This answer replaces the ones to the files, so it repeats the verdict.
      mail->isUsed = false;
      return mail->verdict;
    default:
      break;
  }
  // Recipients, sender and envelope come before any file. One of them after a file belongs to a new
  // mail: the last one ended without AGENTKIT_ITEM_CLOSE.
  if (mail->hasFiles) {
    mail->hasFiles = false;
    mail->verdict = AGENTKIT_GO_ON;
  }
  if (request->itemType == AGENTKIT_ITEM_RECIPIENTS) {
    int people = 0;
    for (size_t i = 0; i < request->payloadLength; ++i) people += request->payload[i] == '\0';
    if (people > kManyPeople) mail->verdict = AGENTKIT_TAG;
  }
  return AGENTKIT_GO_ON;  // to the recipients: with any other answer, the content isn't checked
}

static int32_t OnRequest(void* context, const AgentKitRequest* request) {
  const int32_t answer = Decide(context, request);
  printf("%08x:%08x  item %u  %zu bytes  %s  -> %d\n", (unsigned)request->processId,
         (unsigned)request->threadId, (unsigned)request->itemType, request->payloadLength,
         request->name, (int)answer);
  fflush(stdout);
  return answer;
}

static void OnEnd(void* context, const AgentKitRequest* request, int32_t ending) {
  // The add-in has stopped asking about this mail.
  if (ending != AGENTKIT_END_ANSWER_TAKEN) MailOf(context, request)->isUsed = false;
}

int main(void) {
  static Judge judge;
  theAgent = AgentKitCreate(OnRequest, OnEnd, &judge);
  if (theAgent == NULL || AgentKitStart(theAgent, 0) != AGENTKIT_OPENED) {
    fputs("the ring can't be created: another agent has it, or the system refuses it\n", stderr);
    return 1;
  }
  signal(SIGINT, OnSignal);
  signal(SIGTERM, OnSignal);
  puts("ready");
  fflush(stdout);
  const bool isFine = AgentKitRun(theAgent) == 0;
  if (!isFine) fprintf(stderr, "%s\n", AgentKitErrorText(theAgent));
  AgentKitFree(theAgent);
  return isFine ? 0 : 1;
}
