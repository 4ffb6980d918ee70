// velq - looks at data through the framework's own values and types.
#include <langinfo.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <limits>
#include <new>
#include <ostream>
#include <string>
#include <vector>

#include "command.h"
#include "country.h"
#include "output.h"
#include "velext.h"

namespace {

struct Command {
  const char* name;
  const char* usage;
  const char* summary;
  int (*run)(Arguments& arguments, std::ostream& out);
};

const Command kCommands[] = {
    {"print", "print [--step N] [--countries] FILE",
     "Loads a JSON document and prints its values.\n"
     "      --step N      blanks a level is indented by, 0 to 80 (default 2);\n"
     "                    -1 prints everything on one line\n"
     "      --countries   reads FILE as the country list of iso-codes\n"
     "                    (iso_3166-1.json) and prints it as objects of the\n"
     "                    types demo::CountrySeq and demo::Country\n"
     "      FILE          a path, or - for the standard input",
     runPrint},
    {"get", "get [--json] PATH FILE",
     "Prints one value of a JSON document.\n"
     "      --json        prints it as JSON\n"
     "      PATH          the way to it, a JSON Pointer: /lines/3/price; \"\" is all\n"
     "      FILE          a path, or - for the standard input",
     runGet},
    {"compare", "compare FILE FILE",
     "Tells whether two JSON documents have the same content: \"equal\" or\n"
     "      \"different\". The order of an object's entries does not count; a number\n"
     "      counts as the value it is loaded as, so 1 and 1.0 are different.\n"
     "      FILE          a path; one of them may be - for the standard input",
     runCompare},
    {"diff", "diff FILE FILE",
     "Prints what has to be changed in the first document to make it the second,\n"
     "      a line for each place: its path, what is there before and after.\n"
     "      FILE          a path; one of them may be - for the standard input",
     runDiff},
    {"check", "check --type NAME [--load LIBRARY]... FILE",
     "Tells whether a JSON document is a value of a registered type: \"valid\", or\n"
     "      the first place that does not fit.\n"
     "      --type NAME   the name of the type\n"
     "      --load LIBRARY  a shared library that registers types of its own\n"
     "      FILE          a path, or - for the standard input",
     runCheck},
    {"types", "types [--load LIBRARY]...",
     "Lists every registered type with its kind, parents and parts.\n"
     "      --load LIBRARY  a shared library that registers types of its own",
     runTypes},
    {"schema", "schema [--load LIBRARY]... NAME",
     "Prints the JSON Schema (2020-12) of the documents of a registered type.\n"
     "      --load LIBRARY  a shared library that registers types of its own\n"
     "      NAME          the name of the type",
     runSchema},
};

constexpr char kValuesText[] =
    "values of a document: an object is an anydict, an array an anyseq, a text a\n"
    "string, null is nil; a number is an int where one can hold it, else a real.\n";

constexpr char kStatusText[] =
    "exit status:\n"
    "  0  done; compare, diff: the documents are equal; check: the document is valid\n"
    "  1  compare, diff: the documents are different; check: it is not valid\n"
    "  2  wrong usage, a document that cannot be read or, but for check, is no valid\n"
    "     JSON, an unknown type, a library that cannot be loaded, nothing at a path,\n"
    "     output that cannot be written\n";

std::string HelpText() {
  std::string text = "usage: velq COMMAND [ARGUMENT...]\n       velq help [COMMAND]\n\ncommands:\n";
  for (const Command& command : kCommands) {
    text += std::string("  ") + command.usage + "\n      " + command.summary + '\n';
  }
  return text + '\n' + kValuesText + '\n' + kStatusText;
}

std::string HelpText(const Command& command) {
  return std::string("usage: velq ") + command.usage + "\n\n      " + command.summary + "\n\n" +
         kStatusText;
}

int Fail(const std::string& message) {
  static_cast<void>(
      std::fprintf(stderr, "velq: %s%s", message.c_str(), message.back() == '\n' ? "" : "\n"));
  return kExitFailed;
}

bool IsHelp(const char* word) {
  return std::strcmp(word, "--help") == 0 || std::strcmp(word, "-h") == 0;
}

const Command* FindCommand(const char* name) {
  for (const Command& command : kCommands) {
    if (std::strcmp(command.name, name) == 0) return &command;
  }
  return nullptr;
}

int ShowHelp(Arguments& arguments, std::ostream& out) {
  if (arguments.isEmpty()) {
    out << HelpText();
    return kExitDone;
  }
  const std::string name = arguments.takeOperand("the command");
  arguments.end();
  const Command* const command = FindCommand(name.c_str());
  if (!command) throw UsageError("unknown command " + name);
  out << HelpText(*command);
  return kExitDone;
}

int Dispatch(int argc, char** argv, std::ostream& out) {
  if (argc < 2) throw UsageError("a command is missing");
  Arguments arguments(std::vector<std::string>(argv + 2, argv + argc));
  if (IsHelp(argv[1]) || std::strcmp(argv[1], "help") == 0) return ShowHelp(arguments, out);
  const Command* const command = FindCommand(argv[1]);
  if (!command) throw UsageError(std::string("unknown command ") + argv[1]);
  if (arguments.takeFlag("--help") || arguments.takeFlag("-h")) {
    out << HelpText(*command);
    return kExitDone;
  }
  return command->run(arguments, out);
}

// Where a user who is wrong finds what is right.
std::string Hint(const char* word) {
  const bool isCommand = word && FindCommand(word);
  return std::string(" (see velq help") + (isCommand ? std::string(" ") + word : "") + ')';
}

// Runs the command; every way in which it can fail ends in a message.
int Run(int argc, char** argv, std::ostream& out) {
  try {
    return Dispatch(argc, argv, out);
  } catch (const UsageError& error) {
    return Fail(error.what() + Hint(argc > 1 ? argv[1] : nullptr));
  } catch (const Failure& error) {
    return Fail(error.what());
  } catch (const std::bad_alloc&) {
    return Fail("out of memory");
  } catch (xthrowable* caught) {  // NOLINT(cert-err09-cpp): thrown so
    const xrchandle<xthrowable> held(caught);
    xrcrelease(caught);
    return Fail(velSummary(caught));
  }
}

}  // namespace

int main(int argc, char** argv) {
  // The terminal's own locale. Documents are UTF-8 and leave as UTF-8 where that is not.
  if (!std::setlocale(LC_ALL, "") || std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0) {
    static_cast<void>(std::setlocale(LC_CTYPE, "C.UTF-8"));
  }
  demo::registerCountryTypes();
  OutputBuffer buffer(STDOUT_FILENO);
  std::ostream out(&buffer);
  // As many digits as a real surely keeps: 0.1 stays 0.1.
  out.precision(std::numeric_limits<double>::digits10);
  const int status = Run(argc, argv, out);
  if (const int error = buffer.finish()) {
    return Fail(std::string("cannot write the output: ") + std::strerror(error));
  }
  return status;
}
