#include "analysis/sql_boolean.h"

#include <random>
#include <string>
#include <vector>

#include "host_test.h"
#include "kernel_levels.h"
#include "../../bench/bench_inputs.h"
#include "text/string_handles.h"

using namespace ztk_test;

ZTK_GENERATION_SUITE(SQLReplaceBooleanZTK);

TEST_P(SQLReplaceBooleanZTK, RewritesStandAloneWordsOutsideQuotes) {
  expect_cases("SQLReplaceBooleanZTK", {
      {"where clause", "SELECT * FROM t WHERE a = true AND b = FALSE;", "SELECT * FROM t WHERE a = 1 AND b = 0;", enc::kUTF8},
      {"values list", "INSERT INTO t VALUES (true,false,TRUE)", "INSERT INTO t VALUES (1,0,1)", enc::kUTF8},
      {"mixed", "UPDATE t SET a=true, b = True, c = 'true' WHERE d = false ", "UPDATE t SET a=true, b = 1, c = 'true' WHERE d = 0 ", enc::kUTF8},
      {"end of text is no separator", "x = true", "x = true", enc::kUTF8},
      {"one separator after", "x = true\n", "x = 1\n", enc::kUTF8},
      {"prefixes stay", "trueish falsely truefalse ", "trueish falsely truefalse ", enc::kUTF8},
      {"double-quoted identifier", "\"true\" ", "\"true\" ", enc::kUTF8},
      {"doubled quotes", "'it''s true' true ", "'it''s true' 1 ", enc::kUTF8},
      {"quote inside other quotes", "\"it's\" true ", "\"it's\" 1 ", enc::kUTF8},
      {"start of text", "true ", "1 ", enc::kUTF8},
      {"high byte separates", "\xC3true ", "\xC3" "1 ", enc::kUTF8},
  }, enc::kASCII);
  EXPECT_TRUE(call("SQLReplaceBooleanZTK", {NullString()}).null);
  EXPECT_TRUE(call("SQLReplaceBooleanZTK", {Empty()}).null);
}

TEST_P(SQLReplaceBooleanZTK, ReadsTheTextAsASCII) {
  EXPECT_EQ(call("SQLReplaceBooleanZTK", {U16(u"a = true;")}).bytes, "a = 1;");
  EXPECT_EQ(call("SQLReplaceBooleanZTK", {S("caf\xC3\xA9 = true;")}).bytes, "caf? = 1;");
}

TEST_P(SQLReplaceBooleanZTK, FailuresGiveEmptyString) {
  REALstring s = S("a = true;");
  plugin->fail_allocation(-1);
  EXPECT_TRUE(call("SQLReplaceBooleanZTK", {s}).null);
  plugin->fail_allocation(0);
  host.failures["REALBuildString"].always = true;
  EXPECT_TRUE(call("SQLReplaceBooleanZTK", {s}).null);
}

namespace {
// The rewriting as first written: a byte at a time, each byte a one-byte append.
void rewrite_one_byte_at_a_time(ztk::ByteView in, AsciiStringHandle &out) {
  bool single = false, dbl = false;
  int word = 1;
  auto is_word = [&](size_t p, const char *w, size_t len) {
    if (p + len >= in.size) return false;
    for (size_t k = 0; k < len; ++k) {
      if ((in[p + k] | 0x20) != static_cast<uint8_t>(w[k])) return false;
    }
    return ztk::sql::is_separator(in[p + len]);
  };
  for (size_t p = 0; p < in.size;) {
    const uint8_t c = in[p];
    if (c == '\'' && !dbl) single = !single;
    if (c == '"' && !single) dbl = !dbl;
    const int w = ztk::sql::is_separator(c) ? 0 : word;
    size_t skip = 1;
    if (!single && !dbl && w == 1 && is_word(p, "false", 5)) {
      AddBinary(out, "0", 1);
      skip = 5;
    } else if (!single && !dbl && w == 1 && is_word(p, "true", 4)) {
      AddBinary(out, "1", 1);
      skip = 4;
    } else {
      AddBinary(out, &c, 1);
    }
    p += skip;
    word = w + 1 > 2 ? 2 : w + 1;
  }
}

// What a rewriting leaves in its buffer: the bytes and the size the buffer's
// growth rule reached, so that the appends are compared too.
template <class Rewrite>
std::string rewritten(ztk::ByteView in, Rewrite rewrite) {
  AsciiStringHandle out(int64_t(in.size) + 10);
  rewrite(in, out);
  return std::string(*out.handle, size_t(out.used)) + "|" + std::to_string(out.limit);
}

ztk::ByteView view_of(const std::string &s) { return {reinterpret_cast<const uint8_t *>(s.data()), s.size()}; }
}  // namespace

// Statements made of the words, quotes and separators that matter, cut
// anywhere: the block-wise search for events and the rewriting must equal
// the byte-at-a-time rules at every level, down to the buffer's appends.
TEST(SqlBooleanKernel, EqualsTheOneByteRulesAtEveryLevel) {
  std::mt19937 rng(41);
  // Quotes mostly come in pairs, or most of the text would lie inside them.
  const auto inputs = token_inputs(rng, {"true", "TRUE", "false", "FaLsE", "true ", " false", " ", " ", "\t", "(", ")",
                                         ",", ";", "=", "'a b'", "\"true\"", "'", "\"", "trueish", "t", "f", "\xA0",
                                         "\x80", "x"},
                                   240);
  for (const std::string &in : inputs) {
    ASSERT_EQ(rewritten(view_of(in), ztk::sql::replace_booleans_reference),
              rewritten(view_of(in), rewrite_one_byte_at_a_time));
  }
  expect_equal_at_every_level(
      inputs,
      [](ztk::ByteView in) {
        return rewritten(in, ztk::sql::replace_booleans) + "|" +
               std::to_string(ztk::sql::find_event(in, in.size > 3 ? 3 : 0));
      },
      [](const std::string &s) {
        const ztk::ByteView in = view_of(s);
        return rewritten(in, rewrite_one_byte_at_a_time) + "|" +
               std::to_string(ztk::sql::find_event_reference(in, in.size > 3 ? 3 : 0));
      });
}

// A word or quote at every offset across the first blocks, ending the text or
// followed by a separator or a letter, each preceded by a separator, by a
// letter, or by nothing: a vector level decides from the byte before its
// block whether a word there stands alone, and reads a word's separator from
// the next block or, at the end, not at all.
TEST(SqlBooleanKernel, EventsAtBlockEdgesAreFoundAtEveryLevel) {
  std::vector<std::string> inputs;
  for (const std::string word : {"true", "FALSE", "'", "\""}) {
    for (size_t at = 0; at <= 200; ++at) {
      for (const char *before : {" ", "x", "("}) {
        for (const char *after : {"", " ", ";", "e"}) {
          std::string s(at, 'a');
          if (at > 0) s[at - 1] = before[0];
          s += word;
          s += after;
          // The other quote closes further on, past another block edge.
          if (word == "'" || word == "\"") s += std::string(70, 'b') + word + " true ";
          inputs.push_back(s);
        }
      }
    }
  }
  for_each_level([&](ztk::cpu::Level) {
    for (const std::string &in : inputs) {
      const GuardedBytes guarded(in);
      const ztk::ByteView v = guarded.view();
      ASSERT_EQ(rewritten(v, ztk::sql::replace_booleans), rewritten(view_of(in), rewrite_one_byte_at_a_time)) << in;
      for (size_t from : {size_t{0}, in.size() / 2, in.size() - 1, in.size(), in.size() + 1}) {
        ASSERT_EQ(ztk::sql::find_event(v, from), ztk::sql::find_event_reference(view_of(in), from))
            << in << " from " << from;
      }
    }
  });
}

// The search from every start, where a block begins wherever the last one
// ended: a start inside a word, right after a quote, or past the end.
TEST(SqlBooleanKernel, FindsTheNextEventFromEveryStart) {
  std::mt19937 rng(7);
  const auto inputs = token_inputs(rng, {"true ", " FALSE,", "'", "\"", " t", "(f", "\x90true\x90"}, 150);
  for_each_level([&](ztk::cpu::Level) {
    for (size_t k = 0; k < inputs.size(); k += 7) {
      const std::string &in = inputs[k];
      const GuardedBytes guarded(in);
      for (size_t from = 0; from <= in.size() + 1; ++from) {
        ASSERT_EQ(ztk::sql::find_event(guarded.view(), from), ztk::sql::find_event_reference(view_of(in), from))
            << "input of " << in.size() << " bytes from " << from;
      }
    }
  });
}

// Statements as applications send them (booleans and quoted strings every
// few words), from several starts so that every event meets every lane,
// ending right before an unreadable page; and into a buffer with less room
// than the text, which takes the event loop and grows as the appends do.
TEST(SqlBooleanKernel, StatementsEqualTheOneByteRulesAtEveryLevel) {
  const std::string statements = ztk_bench::sql_statements(1200);
  for_each_level([&](ztk::cpu::Level) {
    for (size_t start = 0; start < 70; start += 3) {
      for (size_t n : {size_t{0}, size_t{63}, size_t{64}, size_t{65}, size_t{500}, statements.size() - start}) {
        const std::string in = statements.substr(start, n);
        const GuardedBytes guarded(in);
        ASSERT_EQ(rewritten(guarded.view(), ztk::sql::replace_booleans), rewritten(view_of(in), rewrite_one_byte_at_a_time))
            << "start " << start << " n " << n;
        AsciiStringHandle small(8), smallReference(8);
        ztk::sql::replace_booleans(guarded.view(), small);
        rewrite_one_byte_at_a_time(view_of(in), smallReference);
        ASSERT_EQ(std::string(*small.handle, size_t(small.used)) + "|" + std::to_string(small.limit),
                  std::string(*smallReference.handle, size_t(smallReference.used)) + "|" +
                      std::to_string(smallReference.limit));
      }
    }
  });
}

// Texts of several blocks made of the bytes a vector level may mark and then
// drop (# and & beside the quotes, d and v beside t and f, digits and
// punctuation before a letter), and of words and quotes, at every length:
// the marks are told apart by their byte, and the first block, the blocks
// with room after them and the last ones (read from a copy) hand over the
// output and the open quote wherever a word or a quoted string crosses
// from one to the next.
TEST(SqlBooleanKernel, LookalikesAndWordsAcrossBlocksEqualTheOneByteRulesAtEveryLevel) {
  std::mt19937 rng(2024);
  const auto inputs = token_inputs(rng, {"true", " TRUE ", " false,", "(FaLsE)", ";true;", " d ", " v", "DV", "#", "&",
                                         "verified ", " VALUES ", "3true ", "'true' ", "\"a'b\" ", "'", "\"", " \"#\" ",
                                         "'&' ", " f", " t", " dvtf ", "1false ", "\x80true\xFF", " truex ", "  "},
                                   600);
  expect_equal_at_every_level(
      inputs, [](ztk::ByteView in) { return rewritten(in, ztk::sql::replace_booleans); },
      [](const std::string &s) { return rewritten(view_of(s), rewrite_one_byte_at_a_time); });
}

// A text that ends right before an unreadable page inside a word, right
// after one, or inside a quoted string, at every length across the blocks
// read in place and those read from a copy: nothing past the end is read,
// and a word the end cuts short stays as it is.
TEST(SqlBooleanKernel, TextsEndingInsideAWordOrQuoteEqualTheOneByteRulesAtEveryLevel) {
  std::vector<std::string> inputs;
  for (const std::string unit : {"a = true, b = FALSE ", "x = 'it is true, or false' ", "(true,\"false\",false)"}) {
    std::string text;
    while (text.size() < 420) text += unit;
    for (size_t n = 0; n <= text.size(); ++n) inputs.push_back(text.substr(0, n));
  }
  expect_equal_at_every_level(
      inputs, [](ztk::ByteView in) { return rewritten(in, ztk::sql::replace_booleans); },
      [](const std::string &s) { return rewritten(view_of(s), rewrite_one_byte_at_a_time); });
}

// Inside a text long enough that the blocks around them are read in place
// (not from a copy): a word or a quote at every offset of three blocks, so
// that it starts a block, ends one, or runs over a block's end (the next
// block then cannot be stored as read); a quoted string that opens in one
// block and closes in a later one with a word of each kind inside it; two
// words in one block; and after each, a word at a fixed place to show the
// output's position and the quote state handed on. The texts end right
// before an unreadable page, and also cut short inside the quoted string or
// the word at the end.
TEST(SqlBooleanKernel, WordsAndQuotesAtEveryOffsetOfBlocksReadInPlace) {
  std::vector<std::string> inputs;
  const std::vector<std::string> events = {"true ", "FALSE)", "(tRuE;", " false\n", "'", "\"", "'it''s true, \"false\" ' ",
                                           "\"x 'true'\" ", "true false ", "d v", "#&", "truex ", "fals "};
  for (const std::string &event : events) {
    for (size_t at = 60; at <= 200; ++at) {
      for (const char *before : {" ", "x", "3"}) {
        std::string s(at, 'a');
        s[at - 1] = before[0];
        s += event;
        // A quote left open here closes two blocks later.
        if (event == "'" || event == "\"") s += std::string(130, 'b') + " true " + event;
        s += std::string(300 - s.size() % 64, 'c') + " TRUE ";
        s += std::string(200, 'd');
        s += " true ";
        inputs.push_back(s);
      }
    }
  }
  std::vector<std::string> cut;
  for (const std::string &in : inputs) {
    cut.push_back(in.substr(0, in.size() - 3));  // ends inside the last word
  }
  for (size_t k = 0; k < inputs.size(); k += 17) {
    const std::string &in = inputs[k];
    for (size_t n = 150; n <= in.size(); n += 7) cut.push_back(in.substr(0, n));  // and in every block
  }
  inputs.insert(inputs.end(), cut.begin(), cut.end());
  expect_equal_at_every_level(
      inputs, [](ztk::ByteView in) { return rewritten(in, ztk::sql::replace_booleans); },
      [](const std::string &s) { return rewritten(view_of(s), rewrite_one_byte_at_a_time); });
}

// Words that end past the block they start in, one after another: each
// starts the next block where it ends, so the blocks after it are read at
// every offset, and the next word may again end past one of them (or start
// right at its end, or in its last lane). Runs of every length between the
// words, a quoted string that holds a word and spans such blocks, and each
// text cut at every length over its last blocks, so that it ends right
// before an unreadable page inside a word or a quoted string.
TEST(SqlBooleanKernel, WordsEndingPastTheirBlocksOneAfterAnotherEqualTheOneByteRulesAtEveryLevel) {
  std::vector<std::string> inputs;
  const std::vector<std::string> words = {"true", "FALSE", "'x true y'", "TrUe", "false"};
  for (size_t run = 54; run <= 68; ++run) {
    for (size_t first = 0; first < 6; ++first) {
      std::string s(run + first, 'a');
      for (size_t k = 0; s.size() < 900; ++k) {
        s.back() = k % 3 == 0 ? ' ' : k % 3 == 1 ? '(' : ',';
        s += words[(k + run) % words.size()];
        s += std::string(run + (k % 4), 'b');
        s[s.size() - run - (k % 4)] = k % 2 == 0 ? ';' : ' ';
      }
      inputs.push_back(s);
      for (size_t n = s.size() - 140; n < s.size(); ++n) inputs.push_back(s.substr(0, n));
    }
  }
  expect_equal_at_every_level(
      inputs, [](ztk::ByteView in) { return rewritten(in, ztk::sql::replace_booleans); },
      [](const std::string &s) { return rewritten(view_of(s), rewrite_one_byte_at_a_time); });
}
