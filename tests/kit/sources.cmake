# The tests' kit: messages, the table of calls, events. It is compiled into the support library of
# either system, which implements kit/system.h.
set(ZOR_KIT_SOURCES
    "${CMAKE_CURRENT_LIST_DIR}/captured_log.cpp" "${CMAKE_CURRENT_LIST_DIR}/events.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/messages.cpp" "${CMAKE_CURRENT_LIST_DIR}/remote_calls.cpp")
