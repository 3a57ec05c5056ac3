#include "text/unit_scan.h"

#include <random>
#include <vector>

#include "kernel_levels.h"

using namespace ztk_test;
using ztk::units::UnitSet;

namespace {

// A copy of some units that ends on the last unit before a guard page.
class GuardedUnits {
 public:
  explicit GuardedUnits(const std::u16string &u)
      : bytes_(std::string_view(reinterpret_cast<const char *>(u.data()), u.size() * 2)), size_(u.size()) {}
  ztk::U16View view() const { return {static_cast<const uint16_t *>(static_cast<const void *>(bytes_.view().data)), size_}; }

 private:
  GuardedBytes bytes_;
  size_t size_;
};

// Texts of every length up to 200 units: mostly plain letters, with the
// units the sets stop at (markup, 0x80-0x9F, Latin-1, above, surrogates)
// at random places, block edges and the last unit included.
std::vector<std::u16string> unit_texts(std::mt19937 &rng) {
  static const char16_t kStops[] = {u'&', u'<', u'>', u'"', u'\'', 0x7F, 0x80, 0x9F, 0xA0, 0xFF,
                                    0x100, 0x20AC, 0xD83D, 0xDE00, 0xFEFF, 0xFFFF, 0};
  std::vector<std::u16string> texts;
  for (size_t n = 0; n <= 200; ++n) {
    for (int density : {0, 1, 8, 40}) {
      std::u16string s(n, u'a');
      for (char16_t &c : s) {
        c = static_cast<char16_t>('a' + rng() % 26);
        if (density > 0 && rng() % static_cast<unsigned>(density + 1) == 0) c = kStops[rng() % std::size(kStops)];
      }
      if (n > 0 && density == 0 && rng() % 2 == 0) s.back() = kStops[rng() % std::size(kStops)];
      texts.push_back(s);
    }
  }
  return texts;
}

}  // namespace

TEST(UnitScanKernels, FindAndMarkEqualTheOneUnitLoopAtEveryLevel) {
  std::mt19937 rng(11);
  const auto texts = unit_texts(rng);
  const UnitSet sets[] = {
      UnitSet(0xFF80, {u'"', u'&', u'\'', u'<', u'>'}),  // HTML references
      UnitSet(0xFF80, {}),                               // everything from 0x80
      UnitSet(0, {u'&'}),                                // reference starts
      UnitSet(0xFF00, {}).with_range(0x80, 0x9F),        // outside Windows-1252's identity
      UnitSet(0, {}).with_range(0xD800, 0xDFFF),         // surrogates only
  };
  for_each_level([&](ztk::cpu::Level) {
    for (const auto &text : texts) {
      const GuardedUnits g(text);
      for (const UnitSet &set : sets) {
        for (size_t from : {size_t{0}, size_t{1}, text.size() / 2, text.size()}) {
          if (from > text.size()) continue;
          ASSERT_EQ(ztk::units::find(g.view(), from, set), ztk::units::find_reference(g.view(), from, set))
              << "length " << text.size() << " from " << from;
        }
        // One word past the last is left as it was.
        const size_t words = (text.size() + 63) / 64;
        std::vector<uint64_t> bits(words + 1, ~uint64_t{0}), expect(words + 1, ~uint64_t{0});
        ztk::units::mark(g.view(), set, bits.data());
        ztk::units::mark_reference(g.view(), set, expect.data());
        ASSERT_EQ(bits, expect) << "length " << text.size();
      }
    }
  });
}

TEST(UnitScanKernels, NarrowAndWidenEqualTheOneUnitLoopsAtEveryLevel) {
  std::mt19937 rng(12);
  for_each_level([&](ztk::cpu::Level) {
    for (size_t n = 0; n <= 300; n += 1 + n / 16) {
      std::u16string text(n, u'\0');
      std::string bytes(n, '\0');
      for (size_t i = 0; i < n; ++i) {
        text[i] = static_cast<char16_t>(rng());
        bytes[i] = static_cast<char>(rng());
      }
      const GuardedUnits g(text);
      const GuardedBytes b(bytes);
      std::vector<uint8_t> narrow(n + 1, 0xEE), expectNarrow(n + 1, 0xEE);
      ztk::units::narrow(g.view().data, n, narrow.data());
      ztk::units::narrow_reference(g.view().data, n, expectNarrow.data());
      ASSERT_EQ(narrow, expectNarrow) << n;  // and nothing stored past the n bytes
      std::vector<uint16_t> wide(n + 1, 0xEEEE), expectWide(n + 1, 0xEEEE);
      ztk::units::widen(b.view().data, n, wide.data());
      ztk::units::widen_reference(b.view().data, n, expectWide.data());
      ASSERT_EQ(wide, expectWide) << n;
    }
  });
}

// One stop unit at each place of texts of every length across the lead, the
// 8- and 16-unit blocks and a 64-unit word, so that every lane of every block
// (and the step after the last whole block) finds it.
TEST(UnitScanKernels, FindAndMarkSeeAStopInEveryLane) {
  const UnitSet sets[] = {
      UnitSet(0xFF80, {u'"', u'&', u'\'', u'<', u'>'}),
      UnitSet(0, {u'&'}),
      UnitSet(0xFF00, {}).with_range(0x80, 0x9F),
      UnitSet(0, {}).with_range(0xD800, 0xDFFF),
      UnitSet(0x8000, {0x20AC, 0x0178, u'<'}),
  };
  // Each of them in at least one set above; 'a' in none.
  const uint16_t kStops[] = {u'&', u'>', 0x80, 0x9F, 0xFF, 0x100, 0x20AC, 0x0178, 0xD800, 0xDFFF, 0xFFFF};
  for_each_level([&](ztk::cpu::Level) {
    for (size_t n = 1; n <= 72; ++n) {
      GuardedBytes g(std::string(2 * n, '\0'));
      auto *units = static_cast<uint16_t *>(static_cast<void *>(g.bytes()));
      const ztk::U16View view{units, n};
      for (uint16_t stop : kStops) {
        for (size_t at = 0; at < n; ++at) {
          for (size_t i = 0; i < n; ++i) units[i] = u'a';
          units[at] = stop;
          for (const UnitSet &set : sets) {
            for (size_t from : {size_t{0}, at / 2, at, at + 1}) {
              ASSERT_EQ(ztk::units::find(view, from, set), ztk::units::find_reference(view, from, set))
                  << "length " << n << " stop " << stop << " at " << at << " from " << from;
            }
            std::vector<uint64_t> bits(2, ~uint64_t{0}), expect(2, ~uint64_t{0});
            ztk::units::mark(view, set, bits.data());
            ztk::units::mark_reference(view, set, expect.data());
            ASSERT_EQ(bits, expect) << "length " << n << " stop " << stop << " at " << at;
          }
        }
      }
    }
  });
}
