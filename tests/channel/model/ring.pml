/* The ring between the add-in and the agent, as a model: two writers, one consumer, and deaths.
 *
 * The writers' steps are those of channel/ringbuffer.cpp and the consumer's those of
 * agentkit/ringconsumer.cpp, one step for each access to a shared word. What is scaled down:
 * a word stands for 4 bytes, an entry is a length word and a payload of two words, the data area has
 * 8 words (two entries fit, a third doesn't, and as in the real ring the entries of the next lap lie
 * elsewhere), and the cursor wraps at 16 instead of 2^32, which is a multiple of the area too.
 *
 * Memory is sequentially consistent here. The real one is as good for this: the additions are full
 * barriers, and the length word is stored with release and loaded with acquire order.
 *
 * Time is modelled by what it is for. The consumer gives an entry up that has been unfinished for
 * `deadWriterMs`, and takes back what stood in usedBytes of an empty ring for as long. The
 * assumption is that a push that has begun ends within that time, or never: a timer may run out as
 * soon as every push that had begun when it was started has ended or died. It needn't run out then,
 * as long as a writer lives. With usedBytes the consumer can't tell what a dead writer has left from
 * what a live one has just added, so there it is assumed too that not every look that it takes meets
 * a push just then.
 *
 *   -DDEATHS           a writer may die before any of its steps
 *   -DTAKEOVER         the consumer may die once before any of its steps; another one goes on
 *   -DIMPATIENT        a timer may run out at any time: the first assumption doesn't hold
 *   -DUNLUCKY          a look may meet a new push: the second one doesn't hold
 *
 * and the ways to spoil it, each of which has to be found:
 *
 *   -DLENGTH_FIRST     the length word is stored before the payload
 *   -DCURSOR_FIRST     the two additions in the wrong order
 *   -DNO_CLEARING      the consumer clears the length word only
 *   -DSTORE_ZERO       usedBytes of an empty ring is stored, not compared and exchanged
 *   -DNO_SECOND_LOOK   a timer that has run out is believed without another look
 *   -DLENGTH_LAST      the consumer clears the length word last
 */

#define AREA     8              /* words of the data area */
#define WRAP     16             /* where the cursor begins again */
#define PAYLOAD  2              /* words */
#define ENTRY    3              /* with the length word */
#define START    11             /* of the cursor: the second entry is split and passes the wrap */
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

/* What a writer puts into both words of a payload. No two are alike, and none is a length. */
#define TAG(writer, number)   (8 + (writer) * 8 + (number))
#define WRITER_OF(tag)        (((tag) - 8) / 8)
#define NUMBER_OF(tag)        (((tag) - 8) % 8)

/* What only the model knows. One bit a writer, or a push of it. */
byte pushing;                   /* a push has begun and not ended; the dead don't push */
byte ended;                     /* all pushes done, or dead */
byte completed[2];              /* pushes that returned true */
byte taken[2];                  /* pushes that a consumer has read */
byte ownerAt[WRAP];             /* whose reservation begins there: bit of the live writer, or 0 */
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
#else
          usedBytes = usedBytes + ENTRY; sum = usedBytes;
#endif
          pushing = pushing | BIT(me) }
     MAY_DIE
     fi;
#ifdef CURSOR_FIRST
     if
     :: d_step { usedBytes = usedBytes + ENTRY; sum = usedBytes }
     MAY_DIE
     fi;
#endif
     if
     :: sum > AREA ->
        if
        :: d_step {
             usedBytes = usedBytes - ENTRY; sum = 0;
#ifdef CURSOR_FIRST
             writeCursor = MINUS(writeCursor, ENTRY); ownerAt[at] = 0; at = 0;
#endif
             pushing = pushing & ~BIT(me); number++ }
        MAY_DIE
        fi
     :: else ->
#ifndef CURSOR_FIRST
        if
        :: d_step {
             at = writeCursor; writeCursor = (writeCursor + ENTRY) % WRAP; ownerAt[at] = BIT(me);
             sum = 0 }
        MAY_DIE
        fi;
#endif
#ifdef LENGTH_FIRST
        if
        :: area[at % AREA] = PAYLOAD
        MAY_DIE
        fi;
#endif
        word = 1;
        do
        :: word <= PAYLOAD ->
           if
           :: d_step { area[(at + word) % AREA] = TAG(me, number); word++ }
           MAY_DIE
           fi
        :: else -> break
        od;
        if
        :: d_step {
#ifndef LENGTH_FIRST
             area[at % AREA] = PAYLOAD;
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
#define MAY_RUN_OUT(pushes)   true
#else
#define MAY_RUN_OUT(pushes)   (((pushes) & pushing) == 0)
#endif

#ifdef UNLUCKY
#define IDLE_MAY_RUN_OUT      MAY_RUN_OUT(idleWaitFor)
#else
#define IDLE_MAY_RUN_OUT      (MAY_RUN_OUT(idleWaitFor) && met == 0)
#endif

#ifdef TAKEOVER
bool hasDied;
#define MAY_FAIL      :: !hasDied -> hasDied = true; goto anew
#else
#define MAY_FAIL
#endif

/* The payload at a position: two words of one push, later than all that this writer had before. A
 * consumer that takes a ring over may meet again what the dead one has read. */
inline Judge(from) {
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

inline CopyOut(from) {
  if
  :: first = area[(from + 1) % AREA]
  MAY_FAIL
  fi;
  if
  :: second = area[(from + 2) % AREA]
  MAY_FAIL
  fi;
  Judge(from)
}

inline Clear(word) {
  if
  :: area[(position + word) % AREA] = 0
  MAY_FAIL
  fi
}

inline FreeHead() {
#ifdef LENGTH_LAST
  Clear(1); Clear(2); Clear(0);
#else
  Clear(0);
#ifndef NO_CLEARING
  Clear(1); Clear(2);
#endif
#endif
  if
  :: d_step {
       known[position] = false; isTaken[position] = false; waitFor[position] = 0;
       position = (position + ENTRY) % WRAP; consumerWord = position }
  MAY_FAIL
  fi;
  if
  :: usedBytes = usedBytes - ENTRY
  MAY_FAIL
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
  int used;
  byte position = START;        /* its own; the shared memory has a copy */
  bool known[WRAP];             /* an entry at that position has been seen unfinished */
  bool isTaken[WRAP];           /* and was read out of its turn since */
  byte waitFor[WRAP];           /* the live writer whose push has to end before the timer may */
  byte idleUsed;                /* usedBytes of an empty ring when its timer was started */
  byte idleWaitFor;
#ifdef TAKEOVER
anew: skip;                     /* a consumer that knows nothing but the shared memory */
  d_step {
    Forget(behind);
    position = consumerWord; idleUsed = 0; idleWaitFor = 0;
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
        /* Nothing is reserved: what is counted as used is a writer's between its additions. */
        if
        :: d_step { used = usedBytes; met = pushing }
        MAY_FAIL
        fi;
        if
        :: used != idleUsed -> d_step { idleUsed = used; idleWaitFor = pushing }
        :: used == idleUsed && used != 0 && IDLE_MAY_RUN_OUT ->
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
              :: usedBytes = 0
#else
              :: d_step {
                   if
                   :: usedBytes == used -> usedBytes = 0
                   :: else
                   fi }
#endif
              MAY_FAIL
              fi
           :: else
           fi;
           idleUsed = 0; idleWaitFor = 0
        :: used == idleUsed && (used == 0 || ALIVE || met != 0)
        fi
     :: else ->
        d_step { idleUsed = 0; idleWaitFor = 0 };
        if
        :: length = area[position % AREA]
        MAY_FAIL
        fi;
        if
        :: length != 0 ->
           assert(length == PAYLOAD);
           CopyOut(position);
           FreeHead();
           do
           :: known[position] && isTaken[position] -> FreeHead()
           :: else -> break
           od
        :: else ->
           /* The head is unfinished. */
           d_step {
             if
             :: !known[position] -> known[position] = true; waitFor[position] = ownerAt[position]
             :: else
             fi };
           if
           :: MAY_RUN_OUT(waitFor[position]) ->
#ifndef NO_SECOND_LOOK
              if
              :: length = area[position % AREA]
              MAY_FAIL
              fi;
#endif
              if
              :: length == 0 ->
                 FreeHead();
                 do
                 :: known[position] && isTaken[position] -> FreeHead()
                 :: else -> break
                 od
              :: else
              fi
           :: ALIVE ->
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
                    :: length != 0 ->
                       assert(length == PAYLOAD);
                       CopyOut(behind);
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

  /* Whatever has died: nothing of it is left, and the ring is as good as new. */
  assert(taken[0] == completed[0] && taken[1] == completed[1]);
  assert(consumerWord == writeCursor);
  assert(area[0] + area[1] + area[2] + area[3] + area[4] + area[5] + area[6] + area[7] == 0);
  done = true
}

init {
  atomic { run Writer(0); run Writer(1); run Consumer() }
}

/* Never less is counted than is reserved and not yet freed: no writer gets room that is in use. */
ltl enough { [] (usedBytes >= RESERVED) }

/* And it comes to an end: nothing that dies keeps the consumer from emptying the ring. */
ltl ends { <> done }
