// command.h - what a command of velq is made of.
//
// A command is one function `int (Arguments&, std::ostream&)` in the table of
// main.cpp: it takes its options and operands, writes its result to the stream,
// and answers the exit status. It says what is wrong by throwing UsageError or
// Failure.
#ifndef VELSTD_TOOLS_VELQ_COMMAND_H
#define VELSTD_TOOLS_VELQ_COMMAND_H

#include <cstddef>
#include <iosfwd>
#include <stdexcept>
#include <string>
#include <vector>

constexpr int kExitDone = 0;
constexpr int kExitDifferent = 1;
constexpr int kExitFailed = 2;

/// The command line is wrong; the message is followed by a hint at the command's help.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What was asked for cannot be done.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A document is no JSON, or not what it should be.
class BadDocument : public Failure {
 public:
  using Failure::Failure;
};

/// The words after the command's name. Each call takes what it names out; what
/// is left in the end is wrong.
class Arguments {
 public:
  explicit Arguments(std::vector<std::string> words);

  /// Whether `--name` is there.
  bool takeFlag(const std::string& name);
  /// The number of `--name N` or `--name=N`, else `otherwise`.
  /// Throws UsageError for anything but a decimal number from `low` to `high`.
  int takeNumber(const std::string& name, int low, int high, int otherwise);
  /// The text of `--name TEXT` or `--name=TEXT`, else `otherwise`.
  std::string takeText(const std::string& name, const std::string& otherwise);
  /// The next word that is no option; `what` names it in the message.
  /// Throws UsageError if there is none, or an option that nobody took.
  std::string takeOperand(const std::string& what);
  bool isEmpty() const { return words.empty(); }
  /// Throws UsageError if anything is left.
  void end();

 private:
  bool takeValue(const std::string& name, std::string& value);
  bool isOption(std::size_t position) const;
  void refuseOptions() const;

  std::vector<std::string> words;
  // Words from here on are no options: they came after "--".
  std::size_t firstPlain;
};

/// Loads the libraries of `--load FILE`, which bring types of their own.
void loadLibraries(Arguments& arguments);

/// velq print [--step N] [--countries] FILE
int runPrint(Arguments& arguments, std::ostream& out);
/// velq get [--json] PATH FILE
int runGet(Arguments& arguments, std::ostream& out);
/// velq compare FILE FILE
int runCompare(Arguments& arguments, std::ostream& out);
/// velq diff FILE FILE
int runDiff(Arguments& arguments, std::ostream& out);
/// velq check --type NAME [--load LIBRARY]... FILE
int runCheck(Arguments& arguments, std::ostream& out);
/// velq types [--load LIBRARY]...
int runTypes(Arguments& arguments, std::ostream& out);
/// velq schema [--load LIBRARY]... NAME
int runSchema(Arguments& arguments, std::ostream& out);

#endif  // VELSTD_TOOLS_VELQ_COMMAND_H
