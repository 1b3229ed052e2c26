/* How an application uses its callback up to the unload: the application, the listener, the callback
 * and the loader's lock. One case per run: CALLBACK and ENDING say which (check_usage.py has the list).
 */

/* The callback. */
#define NATIVE 1     /* needs nothing */
#define MANAGED 2    /* its runtime may load a library before the first line of the callback runs */
#define SHIM 3       /* native; counts who is inside, and then enters the managed one unless closed */
#define LATE_SHIM 4  /* the same in the wrong order: looks whether it is closed, then counts */

/* What the application does with it before it unloads. */
#define NOTHING 1
#define CLEAR_AND_WAIT 2  /* clears the callback and waits until none runs */
#define CLOSE_AND_WAIT 3  /* closes the shim and waits until none is inside */

bool loader_locked = false;
bool loaded = false;
bool registered = false;  /* the library's callback is set */
bool stopping = false;
bool begun = false;       /* the work item */
bool called_off = false;
bool returned = false;
bool running = false;     /* the callback's own lines, as the application can see them */
bool closed = false;
byte inside = 0;

inline lock_loader() { atomic { !loader_locked -> loader_locked = true } }
inline unlock_loader() { loader_locked = false }

inline run_callback() {
  running = true;
  assert(loaded);
  running = false
}

inline enter_managed() {
  if
  :: true -> lock_loader(); unlock_loader()  /* the runtime loads something */
  :: true                                    /* all that it needs is there */
  fi;
  run_callback()
}

inline call_callback() {
  if
  :: CALLBACK == NATIVE -> run_callback()
  :: CALLBACK == MANAGED -> enter_managed()
  :: CALLBACK == SHIM ->
    inside++;
    if
    :: closed
    :: else -> enter_managed()
    fi;
    inside--
  :: CALLBACK == LATE_SHIM ->
    if
    :: closed
    :: else -> inside++; enter_managed(); inside--
    fi
  fi
}

proctype listener() {
  bool in_hand;

  lock_loader(); unlock_loader();  /* as every thread when it begins */
  atomic {
    if
    :: called_off -> goto end
    :: else -> begun = true
    fi
  };
  do
  :: if
     :: in_hand = registered;  /* an event: the callback is read, then called */
       if
       :: in_hand -> call_callback()
       :: else
       fi
     :: true                   /* nothing waits */
     fi;
     if
     :: stopping -> break
     :: else
     fi
  od;
  returned = true;
end:
  lock_loader(); unlock_loader()   /* and when it ends */
}

active proctype application() {
  lock_loader();
  loaded = true;
  run listener();
  unlock_loader();

  registered = true;

  if
  :: ENDING == NOTHING
  :: ENDING == CLEAR_AND_WAIT -> registered = false; !running
  :: ENDING == CLOSE_AND_WAIT -> closed = true; inside == 0; registered = false
  fi;

  lock_loader();
  stopping = true;
  atomic {
    if
    :: begun
    :: else -> called_off = true
    fi
  };
  called_off || returned;
  loaded = false;
  unlock_loader()
}
