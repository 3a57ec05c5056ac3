// Writes the inputs of the peers comparison, byte for byte the ones the
// byte- and text-method benchmarks give the plugin: peer_inputs DIR.
#include <fstream>
#include <iostream>

#include "bench_inputs.h"

using namespace ztk_bench;

int main(int argc, char **argv) {
  if (argc != 2) {
    std::cerr << "usage: peer_inputs DIR\n";
    return 2;
  }
  const std::string dir = argv[1];
  for (size_t n : {size_t{20}, size_t{1} << 10, size_t{1} << 20}) {
    const std::pair<const char *, std::string> inputs[] = {
        {"text", clean_text(n)},
        {"hex", hex_of(clean_text(n))},
        {"url_dense", repeat("%41+", n)},
        {"qp_dense", repeat("=41=\r\n", n)},
        {"yenc_typical", yenc_encoded(n)},
        {"html_dense", dense_html_text(n)},
        {"html_references", dense_references(n)},
        {"tagged", tagged_text(n)},
        {"latin", latin_text(n)},
        {"random", random_bytes(n)},
        // Shaped like what the methods meet in applications.
        {"qp_mail", qp_mail(n)},
        {"qp_paragraphs", qp_paragraphs(n)},
        {"crlf_prose", crlf_prose(n)},
        {"mysql_dump", mysql_dump(n)},
        {"query_values", query_values(n)},
        {"url_query", url_query(n)},
        {"url_dense_text", url_dense_text(n)},
        {"url_dense_real", url_dense(n)},
        {"html_like", html_like_text(n)},
        {"html_page", html_page(n)},
        {"accented_prose", accented_prose(n)},
        {"latin1_prose", latin1_prose(n)},
    };
    for (const auto &[name, bytes] : inputs) {
      std::ofstream(dir + "/" + name + "_" + std::to_string(n), std::ios::binary) << bytes;
    }
  }
  // The edit distances' pairs, as analysis_bench makes them, in UTF-8.
  for (size_t n : {size_t{20}, size_t{1000}, size_t{10000}}) {
    for (bool cjk : {false, true}) {
      const std::string stem = dir + "/distance_" + (cjk ? "cjk" : "alphanumeric") + "_";
      std::ofstream(stem + "a_" + std::to_string(n), std::ios::binary) << utf8_of(distance_units(n, cjk, 1));
      std::ofstream(stem + "b_" + std::to_string(n), std::ios::binary) << utf8_of(distance_units(n, cjk, 2));
    }
  }
  return 0;
}
