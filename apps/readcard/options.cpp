#include "options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "platform/user_language.h"
#include "read_interface.h"

namespace readcard {

ParsedOptions ParseOptions(std::vector<std::string> arguments) {
  Options options;
  CLI::App app(
      "Reads the identity card that lies on the reader and prints what it holds.\n"
      "Exit status: 0 every card was read, 1 a read failed, 2 wrong usage or no library.",
      "readcard");
  app.set_version_flag("--version", "readcard " IDCARDREADER_VERSION);
  CLI::Option* const json =
      app.add_flag("--json", options.json, "Print one JSON document a read, and nothing else");
  CLI::Option* const files =
      app.add_option("--files", options.filesFolder,
                     "Write the blocks into this folder: text.bin, photo.wlt, fingerprint.bin")
          ->type_name("DIR");
  CLI::Option* const blocks =
      app.add_flag("--blocks", options.blocks, "With --json: the blocks, too, as base64")
          ->needs(json);
  app.add_option("--repeat", options.repeat, "Read this many times, with a summary at the end")
      ->type_name("N")
      ->check(CLI::Range(1U, 1000000U));
  app.add_option("--interface", options.readInterface,
                 "The family of functions to read through, and to print what it yields")
      ->check(CLI::IsMember(ReadInterfaceNames()))
      ->capture_default_str();
  CLI::Option* const serial =
      app.add_option(
             "--serial", options.serialPort,
             "Use the reader on this serial port: COM3, or a device such as /dev/ttyS2. Kept in "
             "conf.yaml beside the program, where the library looks for it")
          ->type_name("PORT");
  CLI::Option* const library =
      app.add_option("--library", options.library,
                     "The library to load, instead of the one beside the program")
          ->type_name("PATH");
  CLI::Option* const verbose = app.add_flag(
      "--verbose", options.verbose, "Show the library's own progress lines, on the error output");

  app.fallthrough();
  app.require_subcommand(0, 1);
  const auto choose = [&options](Command command) {
    return [&options, command] { options.command = command; };
  };
  CLI::App* const watch =
      app.add_subcommand("watch", "Print each card that is presented, until Ctrl-C");
  watch->callback(choose(Command::watch));
  CLI::App* const uid =
      app.add_subcommand("uid", "Print the number of the card's chip, of any kind of card");
  uid->callback(choose(Command::uid));
  CLI::App* const beep = app.add_subcommand("beep", "Sound the reader");
  beep->callback(choose(Command::beep));
  CLI::App* const doctor =
      app.add_subcommand("doctor", "Look for what is wrong with the installation");
  doctor->callback(choose(Command::doctor));
  doctor
      ->add_option("--program", options.program,
                   "The program that reads cards: beside it lies its conf.yaml")
      ->type_name("FILE");
  CLI::App* const trace = app.add_subcommand("trace", "Read one card and show what took how long");
  trace->callback(choose(Command::trace));
  trace->add_option("--svg", options.svgFile, "Draw the timeline into this file, too")
      ->type_name("FILE");
  trace->add_flag("--with-data", options.withData,
                  "Show the lines of the log, too, with the card's data, keys and tokens");
  std::string language;
  for (CLI::App* command : {doctor, trace}) {
    command->add_option("--lang", language, "en or zh; the system's when it is not given")
        ->check(CLI::IsMember({"en", "zh"}));
  }
  beep->add_option("--milliseconds", options.beepMilliseconds, "For how long")
      ->type_name("N")
      ->check(CLI::Range(1U, 2550U))
      ->capture_default_str();

  // A command's help would tell only of what is its own.
  const auto tellOf = [](CLI::App* command, std::vector<const CLI::Option*> shared) {
    command->footer(CLI::Formatter().make_group("Options of readcard", false, std::move(shared)));
  };
  tellOf(watch, {json, blocks, files, serial, library, verbose});
  tellOf(uid, {json, serial, library, verbose});
  tellOf(beep, {json, serial, library, verbose});
  tellOf(doctor, {json, library});
  tellOf(trace, {json, serial, library});

  // This parser takes its arguments from the end.
  std::reverse(arguments.begin(), arguments.end());
  try {
    app.parse(std::move(arguments));
  } catch (const CLI::ParseError& error) {
    const bool helpWanted = app.exit(error) == 0;
    return {false, helpWanted ? kAllRead : kUsage, {}};
  }
  const bool chinese =
      language.empty() ? idcardreader::platform::UserReadsChinese() : language == "zh";
  options.language = chinese ? Language::chinese : Language::english;
  return {true, kAllRead, options};
}

}  // namespace readcard
