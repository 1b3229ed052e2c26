#!/usr/bin/env python3
"""The product with two steps in the wrong order, or a step left out: what the schedules must find.

usage: mutants.py            lists them: name, file, symptom, forced switches
       mutants.py NAME TREE  writes the file with the mistake
"""

import pathlib
import sys

CHANNEL = "src/transport/pipe_channel.cpp"
CLIENT = "src/transport/rpc_client.cpp"
LISTENER = "src/notify/notify_listener.cpp"

SHUT = "  if (request != nullptr) request->Shut();\n  if (notify != nullptr) notify->Shut();\n"
JOIN = "  if (listener != nullptr) {\n    listener->Join();\n    listener.reset();\n  }\n"
FREE = ("  // Closes again: the pass that was under way may have held the handle or opened a new one.\n"
        "  request.reset();\n  notify.reset();\n")
HOLD = "      const PipeChannel::Hold hold(channel_);\n      if (!hold) return;\n"
RECEIVE = "      received = Receive();\n"
PASS = HOLD + RECEIVE
CALL = "if (const ZorEventCallback callback = client_.event_callback) callback(&event_);"

# By name: the file, its text, the wrong text, what a run then says, and how many forced switches it
# takes, if not two.
MUTANTS = {
    "channel_left": (CLIENT, "  notify.reset();\n", "  static_cast<void>(notify.release());\n",
                     "a shared variable is left"),
    "connect_again": (CHANNEL, "if (current != PipeHandle::kInvalid && platform::PeekPipe(current)) return true;",
                      "static_cast<void>(current);", "a handle is left open"),
    "event_dropped_at_stop": (LISTENER, "    if (received.pause_ms != 0) {", "    if (client_.stopping) return;\n"
                              "    if (received.pause_ms != 0) {", "failed in the schedule"),
    "stop_after_shut": (CLIENT, "  stopping = true;\n" + SHUT, SHUT + "  stopping = true;\n", "does not end"),
    "stop_after_join": (CLIENT, "  stopping = true;\n" + SHUT + JOIN, SHUT + JOIN + "  stopping = true;\n",
                        "does not end"),
    "free_before_join": (CLIENT, JOIN + FREE, FREE + JOIN, "used after its end"),
    "free_without_join": (CLIENT, "    listener->Join();\n", "", "used after its end"),
    "close_without_shut": (CLIENT, "notify->Shut()", "notify->Close()", "used after its close"),
    "close_while_held": (CHANNEL, "if (use_.exchange(Use::kShut) != Use::kHeld) Close();",
                         "use_ = Use::kShut;\n  Close();", "used after its close"),
    "close_before_shut": (CHANNEL, "if (use_.exchange(Use::kShut) != Use::kHeld) Close();",
                          "if (use_ != Use::kHeld) Close();\n  use_ = Use::kShut;", "used after its close", 3),
    "hold_in_two_steps": (CHANNEL, "channel_ = channel.use_.compare_exchange_strong(expected, Use::kHeld) ? &channel : nullptr;",
                          "channel_ = nullptr;\n  if (channel.use_ != expected) return;\n"
                          "  channel.use_ = Use::kHeld;\n  channel_ = &channel;",
                          "used after its close", 3),
    "hold_after_peek": (LISTENER, PASS,
                        "      static_cast<void>(IsConnected());\n" + PASS, "used after its close"),
    "hold_after_receive": (LISTENER, PASS,
                           RECEIVE + HOLD,
                           "used after its close"),
    "release_before_receive": (LISTENER, PASS,
                               "      {\n" + HOLD + "      }\n" + RECEIVE,
                               "used after its close"),
    "read_without_peek": (LISTENER, "if (static_cast<std::int32_t>(available) <= 0)",
                          "if (static_cast<std::int32_t>(available) < 0)", "deadlock"),
    "callback_read_twice": (LISTENER, CALL,
                            "if (client_.event_callback != nullptr) {\n"
                            "      static_cast<ZorEventCallback>(client_.event_callback)(&event_);\n    }",
                            "crashed in the schedule"),
    "callback_read_once": (LISTENER, CALL,
                           "static const ZorEventCallback callback = client_.event_callback;\n"
                           "    if (callback != nullptr) callback(&event_);",
                           "failed in the schedule"),
}


def main():
    if len(sys.argv) == 1:
        for name, (file, _, _, symptom, *switches) in MUTANTS.items():
            print(name, file, symptom, *(switches or [2]), sep=",")
        return
    file, old, new, *_ = MUTANTS[sys.argv[1]]
    source = (pathlib.Path(sys.argv[2]) / file).read_text(encoding="utf-8")
    if source.count(old) != 1:
        raise SystemExit(f"{sys.argv[1]}: the text occurs {source.count(old)} times in {file}: mend its entry")
    sys.stdout.write(source.replace(old, new))


if __name__ == "__main__":
    main()
