/// The texts of --help.
#pragma once

namespace zor::ctl {

struct Help {
  const char* about;
  const char* footer;  ///< examples
};

inline constexpr auto kAbout =
    "Drives the audio server from a shell, through ZorInterface.dll.\n"
    "Data goes to standard output, messages go to standard error.";

inline constexpr auto kMainFooter =
    "Examples:\n"
    "  zorctl info\n"
    "  zorctl list\n"
    "  zorctl create general          prints the new instance's handle\n"
    "  zorctl config 1 rate 48000\n"
    "  zorctl start 1\n"
    "  zorctl set 1 gain 0.5\n"
    "  zorctl doctor                  what is missing, and what to do\n"
    "  zorctl set --help              each command has its own help\n"
    "\n"
    "Exit status:\n"
    "  0   done\n"
    "  1   zorctl could not do it: a file, the library, another viewer\n"
    "  2   the command line or a script's line is wrong; nothing was sent for it\n"
    "  3   doctor found something missing or wrong\n"
    "  4   watch, demo: the time ran out first\n"
    "  5   --timeout: the server did not reply in time; the call was cancelled\n"
    "  11  result 1: the call could not be completed\n"
    "  12  result 2: the server could not be reached\n"
    "  13  result 3: no algorithm has this id\n"
    "  20  any other result: the server's own, given in the message\n"
    "log ends with the status of the program that it ran.";

inline constexpr auto kJsonFlag = "Answer in JSON";
inline constexpr auto kTimeoutOption =
    "Cancel a call that takes longer than so many seconds, and end with status 5";
inline constexpr auto kNoListFlag =
    "For the parameter supproted_algo_name: do not fetch the list of algorithms first";

inline constexpr Help kInfoHelp{"Show the server's four information words",
                                "Example:\n  zorctl info\n  zorctl info --json"};

inline constexpr Help kListHelp{
    "Show a list of names: the algorithms, or another of the server's lists",
    "For the algorithms, the list is joined with those installed on this machine.\n\n"
    "Example:\n  zorctl list\n  zorctl list --selector 0 --json"};

inline constexpr Help kCreateHelp{"Create an instance and print its handle",
                                  "Example:\n  zorctl create general\n  zorctl create general "
                                  "\"front left\""};

inline constexpr Help kConfigHelp{"Configure an instance",
                                  "Example:\n  zorctl config 1 rate 48000"};

inline constexpr Help kStartHelp{"Start an instance", "Example:\n  zorctl start 1"};
inline constexpr Help kStopHelp{"Stop an instance", "Example:\n  zorctl stop 1"};
inline constexpr Help kDestroyHelp{"Destroy an instance", "Example:\n  zorctl destroy 1"};

inline constexpr Help kStatusHelp{"Print an instance's status, a number of the server's",
                                  "Example:\n  zorctl status 1"};

inline constexpr Help kSetHelp{
    "Set a parameter of an instance",
    "The value of the parameter supproted_algo_name (spelt so) is an id of `zorctl list`.\n"
    "The library translates it by that list, which zorctl therefore fetches first.\n\n"
    "Example:\n  zorctl set 1 gain 0.5\n  zorctl set 1 supproted_algo_name 2"};

inline constexpr Help kGetHelp{"Print the value of a parameter of an instance",
                               "Example:\n  zorctl get 1 gain\n  zorctl get 1 gain --json"};

inline constexpr Help kBlobHelp{"Write or read a block of bytes of an instance",
                                "Example:\n  zorctl blob set 1 preset preset.bin\n"
                                "  zorctl blob get 1 preset -o preset.bin"};

inline constexpr Help kBlobSetHelp{"Write a block of bytes from a file to an instance",
                                   "Example:\n  zorctl blob set 1 preset preset.bin"};

inline constexpr Help kBlobGetHelp{
    "Read a block of bytes from an instance",
    "A block must fit, with its name, in one reply of 1024 bytes.\n\n"
    "Example:\n  zorctl blob get 1 preset\n  zorctl blob get 1 preset -o preset.bin"};

inline constexpr Help kWatchHelp{
    "Show the server's notifications as they come, until Ctrl-C",
    "With --json: one document a line.\n\n"
    "Example:\n  zorctl watch\n  zorctl watch --count 1 --timeout 10 --json"};

inline constexpr Help kLogHelp{
    "Show the library's debug log as it comes: of every process in the session until Ctrl-C, or of "
    "a "
    "program",
    "These are the lines with the prefix \"[zor] \" of the debugger output. With a program, the\n"
    "lines of that program until it ends, and its exit status is then zorctl's own. There can be\n"
    "one viewer of the debugger output of a session at a time.\n\n"
    "Example:\n  zorctl log\n  zorctl log -- session.exe\n  zorctl log --all --json\n"
    "  zorctl log --global            services have a session of their own"};

inline constexpr Help kDoctorHelp{
    "Walk the whole chain and say what was found, what is wrong and what to do",
    "Loads and asks the algorithm libraries as `zorctl list` does; creates no instance.\n\n"
    "Example:\n  zorctl doctor\n  zorctl doctor --json\n  zorctl doctor --app session.exe\n"
    "  zorctl doctor --bundle report.zip"};

inline constexpr Help kDemoHelp{"Run a whole session: every call once, against the server there is",
                                "Example:\n  zorctl demo"};

inline constexpr Help kSnapshotHelp{
    "Print the server and this machine as a scenario for zorsim, which then takes their place",
    "The information words, the lists that are asked for, and the named parameters and the status "
    "of\n"
    "the named instances; and which algorithms are installed here. Changes nothing.\n\n"
    "Example:\n  zorctl snapshot > scenario.json\n"
    "  zorctl snapshot --selector 0 --selector 2 --instance 7 --parameter gain > scenario.json\n"
    "  zorsim --scenario scenario.json"};

inline constexpr Help kBatchHelp{
    "Run a session script: one command a line, the words of this command line",
    "Quotation marks keep blanks in a word, # starts a comment, $handle is the handle of the last\n"
    "create. The connection and the list of algorithms are kept from line to line. A line that\n"
    "fails ends the script. Nothing runs when a line is no command.\n\n"
    "Example:\n  zorctl batch session.txt\n  zorctl batch - --repeat 100 --keep-going < "
    "session.txt\n\n"
    "A script:\n"
    "  create general          # prints the handle\n"
    "  config $handle rate 48000\n"
    "  start $handle\n"
    "  set $handle gain 0.5\n"
    "  stop $handle\n"
    "  destroy $handle"};

}  // namespace zor::ctl
