// ztk: calls the plugin's methods from the command line. It loads the plugin
// library through REALPluginMain into the substitute host, exactly as Xojo
// would, and calls a registered method through its function pointer.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "codecs/hex.h"
#include "convert.h"
#include "invoke.h"
#include "plugin_library.h"
#include "subhost.h"

namespace {

const char kUsage[] =
    "usage: ztk [options] list\n"
    "       ztk [options] METHOD [ARG...]\n"
    "\n"
    "Calls a ZTKStrings method through the substitute Xojo host. The overload is\n"
    "chosen by the number of arguments. A string argument is taken as written,\n"
    "from a file with @path, or from standard input with -.\n"
    "\n"
    "options:\n"
    "  --plugin PATH      the plugin library to load (default: the one built with ztk)\n"
    "  --encoding NAME    encoding of string arguments: utf8 (default), utf16, utf32,\n"
    "                     ascii, macroman, latin1, cp1252, none\n"
    "  --host-version V   the host version the plugin sees (default 2024.0)\n"
    "  --hex              write a string or memoryblock result as hex digits\n"
    "  --verbose          also print the result's encoding and the host's ledger\n"
    "  --help, --version\n";

struct Options {
  std::string plugin = ZTK_DEFAULT_PLUGIN;
  uint32_t encoding = enc::kUTF8;
  double hostVersion = 2024.0;
  bool hex = false, verbose = false;
};

[[noreturn]] void fail(const std::string &message) {
  std::cerr << "ztk: " << message << "\n\n" << kUsage;
  std::exit(2);
}

bool parse_encoding(const std::string &name, uint32_t *out) {
  static const std::pair<const char *, uint32_t> names[] = {
      {"utf8", enc::kUTF8},         {"utf16", enc::kUTF16},         {"utf32", enc::kUTF32},
      {"ascii", enc::kASCII},       {"macroman", enc::kMacRoman},   {"latin1", enc::kISOLatin1},
      {"cp1252", enc::kWindows1252}, {"none", enc::kNone}};
  for (const auto &[n, code] : names) {
    if (name == n) {
      *out = code;
      return true;
    }
  }
  return false;
}

std::string read_argument(const std::string &arg) {
  if (arg == "-") return std::string(std::istreambuf_iterator<char>(std::cin), {});
  if (arg.size() > 1 && arg[0] == '@') {
    std::ifstream in(arg.substr(1), std::ios::binary);
    if (!in) fail("cannot read " + arg.substr(1));
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  return arg;
}

subhost::Value parse_value(char kind, const std::string &arg, const Options &o, subhost::Host &host,
                           std::vector<REALstring> &strings, std::vector<REALobject> &blocks) {
  errno = 0;
  char *end = nullptr;
  switch (kind) {
    case 'S': {
      const std::string bytes = read_argument(arg);
      strings.push_back(host.make_string(subhost::convert(bytes, enc::kUTF8, o.encoding), o.encoding));
      return strings.back();
    }
    case 'M':
      blocks.push_back(host.make_memoryblock(read_argument(arg)));
      return blocks.back();
    case 'I': {
      const long long v = std::strtoll(arg.c_str(), &end, 0);
      if (arg.empty() || *end != '\0' || errno == ERANGE) fail("not an integer: " + arg);
      return static_cast<RBInteger>(v);
    }
    case 'D': {
      const double v = std::strtod(arg.c_str(), &end);
      if (arg.empty() || *end != '\0') fail("not a number: " + arg);
      return v;
    }
    default: {
      if (arg == "true" || arg == "1") return static_cast<RBBoolean>(1);
      if (arg == "false" || arg == "0") return static_cast<RBBoolean>(0);
      fail("not a boolean (true or false): " + arg);
    }
  }
}

std::string hex(const std::string &bytes) {
  std::string out(2 * bytes.size(), '\0');
  ztk::hex::encode({reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()}, out.data());
  return out;
}

}  // namespace

int main(int argc, char **argv) {
  Options o;
  std::vector<std::string> words;
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    auto value = [&]() -> std::string {
      if (i + 1 >= argc) fail(a + " needs a value");
      return argv[++i];
    };
    if (a == "--help" || a == "-h") {
      std::cout << kUsage;
      return 0;
    } else if (a == "--version") {
      std::cout << "ztk " << ZTK_VERSION << "\n";
      return 0;
    } else if (a == "--plugin") {
      o.plugin = value();
    } else if (a == "--encoding") {
      if (!parse_encoding(value(), &o.encoding)) fail("unknown encoding " + std::string(argv[i]));
    } else if (a == "--host-version") {
      o.hostVersion = std::strtod(value().c_str(), nullptr);
    } else if (a == "--hex") {
      o.hex = true;
    } else if (a == "--verbose") {
      o.verbose = true;
    } else if (a.size() > 2 && a.compare(0, 2, "--") == 0) {
      fail("unknown option " + a);
    } else {
      words.push_back(a);
    }
  }
  if (words.empty()) fail("no method named");

  if (words[0] == "list") {
    for (const subhost::MethodInfo &m : subhost::methods()) std::cout << m.declaration << "\n";
    return 0;
  }

  const subhost::MethodInfo *m = subhost::find_method(words[0], words.size() - 1);
  if (m == nullptr) {
    bool known = false;
    for (const subhost::MethodInfo &k : subhost::methods()) known |= k.name() == words[0];
    fail(known ? words[0] + " takes no " + std::to_string(words.size() - 1) + " arguments"
               : "no method " + words[0] + " (see ztk list)");
  }

  subhost::Host &host = subhost::Host::get();
  subhost::Settings settings;
  settings.version = o.hostVersion;
  host.reset(settings);
  int status = 0;
  try {
    subhost::PluginLibrary plugin(o.plugin);
    plugin.start();
    std::vector<REALstring> strings;
    std::vector<REALobject> blocks;
    std::vector<subhost::Value> args;
    const std::vector<std::string> defaults = m->defaults();
    for (size_t k = 0; k < m->params.size(); ++k) {
      const std::string &word = k + 1 < words.size() ? words[k + 1] : defaults[k];
      args.push_back(parse_value(m->params[k], word, o, host, strings, blocks));
    }
    const subhost::Value result = host.call(m->declaration, args);
    if (auto s = std::get_if<REALstring>(&result)) {
      const std::string bytes = subhost::Host::bytes(*s);
      std::cout << (o.hex ? hex(bytes) + "\n" : bytes);
      if (o.verbose) std::cerr << "encoding: 0x" << std::hex << subhost::Host::encoding(*s) << std::dec << "\n";
      host.release(*s);
    } else if (auto b = std::get_if<REALobject>(&result)) {
      const std::string bytes = subhost::Host::bytes(*b);
      std::cout << (o.hex ? hex(bytes) + "\n" : bytes);
      host.release(*b);
    } else if (auto i = std::get_if<RBInteger>(&result)) {
      std::cout << static_cast<long long>(*i) << "\n";
    } else if (auto d = std::get_if<double>(&result)) {
      char text[64];
      std::snprintf(text, sizeof text, "%.17g", *d);
      std::cout << text << "\n";
    } else if (auto flag = std::get_if<RBBoolean>(&result)) {
      std::cout << (*flag ? "true" : "false") << "\n";
    }
    if (REALobject e = host.pending) {
      std::cerr << e->className << ": " << subhost::Host::bytes(e->message) << "\n";
      status = 1;
    }
    host.clear_pending();
    for (REALstring s : strings) host.release(s);
    for (REALobject b : blocks) host.release(b);
    if (o.verbose) {
      std::cerr << "ledger: " << host.live_strings() << " strings and " << host.live_objects()
                << " objects live, " << host.ledger.outstandingStringData << " string data outstanding, "
                << host.ledger.errors.size() << " handle errors\n";
    }
  } catch (const std::exception &e) {
    std::cerr << "ztk: " << e.what() << "\n";
    return 2;
  }
  return status;
}
