/* A model of the ring between the add-in and the agent: two writers, one consumer, and deaths.
 *
 * The writers take the steps of channel/ringbuffer.cpp and the consumer those of
 * agentkit/ringconsumer.cpp, one step for each access to usedBytes, writeCursor, consumerWord and the data
 * area. Local variables and the variables that only the model has change within these steps. Not
 * modelled: the capacity, damaged headers, and the consumer's cached cursor (it loads the cursor for each
 * entry). Scaled down: a word represents 4 bytes, an entry is a length word and a payload of two words, the
 * data area has 8 words (two entries fit, a third doesn't; as in the real ring the entries of the next lap
 * start elsewhere), and the cursor wraps at 16 instead of 2^32, also a multiple of the area.
 *
 * Memory is sequentially consistent here. The real memory orders are strong enough for that: the
 * additions are full barriers, and the length word is stored with release and loaded with acquire order.
 *
 * Time. The consumer skips an entry that has been incomplete for `deadWriterMs`, and subtracts the excess in
 * usedBytes of a ring that has been empty for as long. The model assumes that a push that has begun ends
 * within that time, or never: a timer may expire once every push that had begun when it was started has
 * ended or died. It need not expire as long as a writer lives. The consumer can't tell the excess left by a
 * dead writer from what a live one has just added, so the model also assumes that not every look at usedBytes
 * meets a push at that moment.
 *
 *   -DDEATHS           a writer may die before any of its steps
 *   -DTAKEOVER         the consumer may die once, before any of its steps; another one continues
 *   -DNO_TIMERS        no timer ever expires: only for searches without deaths
 *   -DMULTIPLE         the data area is a multiple of the entry, so that it can be filled completely
 *   -DTWO_LENGTHS      every other entry of the first writer is one word shorter: only without deaths
 *   -DIMPATIENT        a timer may expire at any time: the first assumption doesn't hold
 *   -DUNLUCKY          a look may meet a new push: the second assumption doesn't hold
 *
 * Ways to break the protocol, each of which the search must find:
 *
 *   -DLENGTH_FIRST     the length word is stored before the payload
 *   -DCURSOR_FIRST     the two additions in the wrong order
 *   -DNO_ROLLBACK      a refused push doesn't subtract what it added
 *   -DFULL_TOO_EARLY   an entry that fits exactly is refused
 *   -DNO_CLEARING      the consumer clears only the length word
 *   -DNO_FREEING       the consumer never subtracts
 *   -DSTORE_ZERO       usedBytes of an empty ring is stored, not compared and exchanged
 *   -DNO_SECOND_LOOK   an expired timer is believed without another look
 *   -DLENGTH_LAST      the consumer clears the length word last
 */

#ifdef MULTIPLE
#define AREA     6              /* words of the data area */
#define WRAP     12             /* where the cursor starts again */
#define START    11             /* of the cursor: the first entry is split and passes the wrap */
#else
#define AREA     8
#define WRAP     16
#define START    11             /* the second entry is split and passes the wrap */
#endif
#define PAYLOAD  2              /* words */
#define ENTRY    3              /* with the length word */
#ifdef TWO_LENGTHS
#define PAYLOAD_NOW    ((me == 0 && number % 2 == 0) -> 1 : PAYLOAD)
#else
#define PAYLOAD_NOW    PAYLOAD
#endif
#define ENTRY_NOW      (PAYLOAD_NOW + 1)
#ifndef PUSHES
#define PUSHES   3              /* of each writer */
#endif

#define MINUS(a, b)   (((a) - (b) + WRAP) % WRAP)
#define RESERVED      MINUS(writeCursor, consumerWord)

/* The shared memory. */
int  usedBytes;                 /* counted in words */
byte writeCursor = START;
byte consumerWord = START;
byte area[AREA];

/* What a writer stores in the words of a payload. All are different, and none is a length. */
#define TAG(writer, number)   (8 + (writer) * 8 + (number))
#define WRITER_OF(tag)        (((tag) - 8) / 8)
#define NUMBER_OF(tag)        (((tag) - 8) % 8)

/* What only the model knows. One bit for each writer, or for each of its pushes. */
byte pushing;                   /* a push has begun and not ended; the dead don't push */
byte ended;                     /* all pushes done, or dead */
byte completed[2];              /* pushes that returned true */
byte taken[2];                  /* pushes that a consumer has read */
byte ownerAt[WRAP];             /* whose reservation begins there: bit of the live writer, or 0 */
int  excess;                    /* words counted in usedBytes that aren't reserved */
bool done;

#define BIT(n)        (1 << (n))
#define ALIVE         (ended != 3)

#ifdef DEATHS
#define MAY_DIE       :: goto dies
#else
#define MAY_DIE
#endif

proctype Writer(byte me) {
  byte number, at, word;
  int sum;
  do
  :: number == PUSHES -> break
  :: else ->
     if
     :: d_step {
#ifdef CURSOR_FIRST
          at = writeCursor; writeCursor = (writeCursor + ENTRY) % WRAP; ownerAt[at] = BIT(me);
          excess = excess - ENTRY;
#else
          usedBytes = usedBytes + ENTRY_NOW; sum = usedBytes; excess = excess + ENTRY_NOW;
#endif
          pushing = pushing | BIT(me) }
     MAY_DIE
     fi;
#ifdef CURSOR_FIRST
     if
     :: d_step { usedBytes = usedBytes + ENTRY; sum = usedBytes; excess = excess + ENTRY }
     MAY_DIE
     fi;
#endif
     if
#ifdef FULL_TOO_EARLY
     :: sum >= AREA ->
#else
     :: sum > AREA ->
#endif
        assert(sum > AREA);     /* what fits isn't refused */
        if
        :: d_step {
#ifndef NO_ROLLBACK
             usedBytes = usedBytes - ENTRY_NOW;
#endif
             excess = excess - ENTRY_NOW; sum = 0;
#ifdef CURSOR_FIRST
             writeCursor = MINUS(writeCursor, ENTRY); ownerAt[at] = 0; at = 0;
             excess = excess + ENTRY;
#endif
             pushing = pushing & ~BIT(me); number++ }
        MAY_DIE
        fi
     :: else ->
#ifndef CURSOR_FIRST
        if
        :: d_step {
             at = writeCursor; writeCursor = (writeCursor + ENTRY_NOW) % WRAP;
             ownerAt[at] = BIT(me); excess = excess - ENTRY_NOW; sum = 0 }
        MAY_DIE
        fi;
#endif
#ifdef LENGTH_FIRST
        if
        :: area[at % AREA] = PAYLOAD_NOW
        MAY_DIE
        fi;
#endif
        word = 1;
        do
        :: word <= PAYLOAD_NOW ->
           if
           :: d_step { area[(at + word) % AREA] = TAG(me, number); word++ }
           MAY_DIE
           fi
        :: else -> break
        od;
        if
        :: d_step {
#ifndef LENGTH_FIRST
             area[at % AREA] = PAYLOAD_NOW;
#endif
             ownerAt[at] = 0; completed[me] = completed[me] | BIT(number);
             pushing = pushing & ~BIT(me); at = 0; word = 0; sum = 0; number++ }
        MAY_DIE
        fi
     fi
  od;
  goto ends;
#ifdef DEATHS
dies: skip;
  d_step {
    if
    :: ownerAt[at] == BIT(me) -> ownerAt[at] = 0
    :: else
    fi;
    pushing = pushing & ~BIT(me) }
#endif
ends: skip;
  d_step { ended = ended | BIT(me); number = 0; at = 0; word = 0; sum = 0 }
}

/* ---- the consumer ---- */

#ifdef IMPATIENT
#define MAY_EXPIRE(pushes)    true
#else
#define MAY_EXPIRE(pushes)    (((pushes) & pushing) == 0)
#endif

#ifdef UNLUCKY
#define IDLE_MAY_EXPIRE       MAY_EXPIRE(idleWaitFor)
#else
#define IDLE_MAY_EXPIRE       (MAY_EXPIRE(idleWaitFor) && met == 0)
#endif

#ifdef NO_TIMERS
#define NEED_NOT_EXPIRE       true
#else
#define NEED_NOT_EXPIRE       ALIVE
#endif

#ifdef TAKEOVER
bool hasDied;
#define MAY_FAIL      :: !hasDied -> hasDied = true; goto anew
#else
#define MAY_FAIL
#endif

/* The payload at a position: words of one push, later than every push of this writer that was taken
 * before. A consumer that takes over may read again what the dead one has read. */
inline Judge() {
  d_step {
    assert(first == second);
    assert(first >= TAG(0, 0) && first < TAG(1, PUSHES));
    assert(completed[WRITER_OF(first)] & BIT(NUMBER_OF(first)));
#ifdef TAKEOVER
    assert(hasDied || taken[WRITER_OF(first)] < BIT(NUMBER_OF(first)));
#else
    assert(taken[WRITER_OF(first)] < BIT(NUMBER_OF(first)));
#endif
    taken[WRITER_OF(first)] = taken[WRITER_OF(first)] | BIT(NUMBER_OF(first));
    first = 0; second = 0
  }
}

inline CopyOut(from, length) {
  if
  :: first = area[(from + 1) % AREA]
  MAY_FAIL
  fi;
  if
  :: second = area[(from + length) % AREA]
  MAY_FAIL
  fi;
  Judge()
}

inline Clear(word) {
  if
  :: area[(position + word) % AREA] = 0
  MAY_FAIL
  fi
}

/* Clears the oldest entry and moves past it. It isn't free yet. */
inline PassHead(length) {
#ifdef LENGTH_LAST
  Clear(1); Clear(length); Clear(0);
#else
  Clear(0);
#ifndef NO_CLEARING
  Clear(1); Clear(length);
#endif
#endif
  if
  :: d_step {
       known[position] = false; isTaken[position] = false; waitFor[position] = 0;
       position = (position + length + 1) % WRAP; consumerWord = position;
       passed = passed + length + 1; excess = excess + length + 1 }
  MAY_FAIL
  fi
}

inline PassTakenHeads() {
  do
  :: known[position] && isTaken[position] -> PassHead(PAYLOAD)
  :: else -> break
  od
}

inline Free() {
  if
  :: d_step {
#ifndef NO_FREEING
       usedBytes = usedBytes - passed;
#endif
       excess = excess - passed; passed = 0 }
  MAY_FAIL
  fi
}

/* The consumer frees several entries at once: whenever it finds nothing to take, and sometimes before. */
inline FreePassed() {
  if
  :: passed != 0 -> Free()
  :: else
  fi
}

inline Forget(n) {
  n = 0;
  do
  :: n < WRAP -> known[n] = false; isTaken[n] = false; waitFor[n] = 0; n++
  :: else -> n = 0; break
  od
}

proctype Consumer() {
  byte cursor, length, first, second, behind, met;
  byte passed;                  /* words before `position` that aren't freed yet */
  int used;
  byte position = START;        /* its own; consumerWord is a copy */
  bool known[WRAP];             /* an entry at that position was seen incomplete */
  bool isTaken[WRAP];           /* and was taken out of order since */
  byte waitFor[WRAP];           /* the live writer whose push must end before the timer expires */
  byte idleUsed;                /* usedBytes of an empty ring when its timer was started */
  byte idleWaitFor;
#ifdef TAKEOVER
anew: skip;                     /* a consumer that knows only the shared memory */
  d_step {
    Forget(behind);
    position = consumerWord; idleUsed = 0; idleWaitFor = 0; passed = 0;
    cursor = 0; length = 0; first = 0; second = 0; used = 0; met = 0 }
#endif
  do
  :: ended == 3 && position == writeCursor && usedBytes == 0 -> break
  :: else ->
     if
     :: cursor = writeCursor
     MAY_FAIL
     fi;
     assert(MINUS(cursor, position) <= AREA);
     if
     :: MINUS(cursor, position) == 0 ->
        FreePassed();
        /* Nothing is reserved: what usedBytes counts belongs to writers between their additions. */
        if
        :: d_step { used = usedBytes; met = pushing }
        MAY_FAIL
        fi;
        if
        :: used != idleUsed -> d_step { idleUsed = used; idleWaitFor = pushing }
#ifndef NO_TIMERS
        :: used == idleUsed && used != 0 && IDLE_MAY_EXPIRE ->
#ifndef NO_SECOND_LOOK
           if
           :: cursor = writeCursor
           MAY_FAIL
           fi;
#endif
           if
           :: MINUS(cursor, position) == 0 ->
              if
#ifdef STORE_ZERO
              :: d_step { excess = excess - usedBytes; usedBytes = 0 }
#else
              :: d_step {
                   if
                   :: usedBytes == used -> excess = excess - used; usedBytes = 0
                   :: else
                   fi }
#endif
              MAY_FAIL
              fi
           :: else
           fi;
           idleUsed = 0; idleWaitFor = 0
#endif
        :: used == idleUsed && (used == 0 || NEED_NOT_EXPIRE || met != 0)
        fi
     :: else ->
        d_step { idleUsed = 0; idleWaitFor = 0 };
        if
        :: length = area[position % AREA]
        MAY_FAIL
        fi;
        if
        :: length != 0 ->
           #ifdef TWO_LENGTHS
           assert(length == PAYLOAD || length == 1);
#else
           assert(length == PAYLOAD);
#endif
           CopyOut(position, length);
           PassHead(length);
           PassTakenHeads();
           if
           :: Free()
           :: skip
           fi
        :: else ->
           FreePassed();
           /* The head is incomplete. */
           d_step {
             if
             :: !known[position] -> known[position] = true; waitFor[position] = ownerAt[position]
             :: else
             fi };
           if
#ifndef NO_TIMERS
           :: MAY_EXPIRE(waitFor[position]) ->
#ifndef NO_SECOND_LOOK
              if
              :: length = area[position % AREA]
              MAY_FAIL
              fi;
#endif
              if
              :: length == 0 ->
                 PassHead(PAYLOAD);
                 PassTakenHeads();
                 Free()
              :: else
              fi
#endif
           :: NEED_NOT_EXPIRE ->
              behind = (position + ENTRY) % WRAP;
              if
              :: MINUS(cursor, position) >= 2 * ENTRY ->
                 d_step {
                   if
                   :: !known[behind] -> known[behind] = true; waitFor[behind] = ownerAt[behind]
                   :: else
                   fi };
                 if
                 :: !isTaken[behind] ->
                    if
                    :: length = area[behind % AREA]
                    MAY_FAIL
                    fi;
                    if
                    :: length == PAYLOAD ->
                       CopyOut(behind, length);
                       isTaken[behind] = true
                    :: else
                    fi
                 :: else
                 fi
              :: else
              fi
           fi
        fi
     fi;
     atomic { cursor = 0; length = 0; used = 0; behind = 0; met = 0 }
  od;

  /* Nothing is left of the dead, and the ring is as good as new. */
  assert(taken[0] == completed[0] && taken[1] == completed[1]);
  assert(consumerWord == writeCursor);
  assert(area[0] + area[1] + area[2] + area[3] + area[4] + area[5] == 0);
#ifndef MULTIPLE
  assert(area[6] + area[7] == 0);
#endif
  done = true
}

init {
  atomic { run Writer(0); run Writer(1); run Consumer() }
}

/* usedBytes is never below what is reserved: no writer gets space that is in use. */
ltl enough { [] (usedBytes >= RESERVED) }

/* Nor above what is reserved, on its way to be, or passed and not freed yet. */
ltl bounded { [] (usedBytes <= RESERVED + excess) }

/* No death keeps the consumer from emptying the ring. */
ltl ends { <> done }

/* Nor another writer from finishing its pushes. */
ltl writersEnd { <> (ended == 3) }
