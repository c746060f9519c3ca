// The option scanner over the words of its cases, each in a forked child, as its state is the
// process's: results, orv_optind at the end, and the messages printed.
#include "orvsys/orv_getopt.h"

#include <cstring>
#include <string>
#include <vector>

#include "support/orv_test.h"

namespace {

TEST(Getopt, TheCasesWithAbColonC) {
    // Results in order, "a/5" an option with its argument; the end's orv_optind; the messages.
    // clang-format off
    struct Row { const char *words, *results; int32_t optind; const char *printed; };
    const Row rows[] = {{"prog -a -b 5 rest", "a b/5 -1", 4, ""}, {"prog -ab5", "a b/5 -1", 2, ""},
        {"prog -ac -- -a", "a c -1", 3, ""}, {"prog -b -a", "b/-a -1", 3, ""},
        {"prog -cb x y", "c b/x -1", 3, ""}, {"prog -b", "? -1", 2, "prog: -b argument missing\n"},
        {"prog -cb", "c ? -1", 2, "prog: -b argument missing\n"},
        {"prog -x -a", "? a -1", 3, "prog: unknown option -x\n"},
        {"prog -xa", "? a -1", 2, "prog: unknown option -x\n"},
        {"prog -:", "? -1", 2, "prog: unknown option -:\n"}, {"prog - -a", "-1", 1, ""},
        {"prog rest -a", "-1", 1, ""}, {"prog", "-1", 1, ""}};
    // clang-format on
    for (const Row &row : rows) {
        std::string line = row.words;
        std::vector<char *> argv;
        for (char *w = std::strtok(line.data(), " "); w; w = std::strtok(nullptr, " "))
            argv.push_back(w);
        std::string results;
        const auto child = orv_test::run_in_child([&] {
            orv_getopt_init(), orv_optind = 0;
            for (int c = 0; c != -1 && results.size() < 40;) {
                c = orv_getopt(static_cast<int>(argv.size()), argv.data(), "ab:c");
                results.append(results.empty() ? "" : " ");
                results.append(c == -1 ? std::string("-1") : std::string(1, static_cast<char>(c)));
                if (orv_optarg != nullptr) results.append("/").append(orv_optarg);
            }
            EXPECT_TRUE(results == row.results && orv_optind == row.optind)
                << results << " " << orv_optind;
        });
        EXPECT_TRUE(child.ok()) << row.words << ": " << child;
        EXPECT_EQ(child.output, row.printed) << row.words;
    }
}

// A scan that stopped inside a cluster starts clean again after orv_getopt_init and orv_optind 0.
TEST(Getopt, InitStartsAgain) {
    const auto child = orv_test::run_in_child([] {
        char prog[] = "prog", cluster[] = "-ac";
        char *argv[] = {prog, cluster};
        orv_optind = 0;
        EXPECT_EQ(orv_getopt(2, argv, "ac"), 'a');
        orv_getopt_init(), orv_optind = 0;
        EXPECT_TRUE(orv_getopt(2, argv, "ac") == 'a' && orv_getopt(2, argv, "ac") == 'c' &&
                    orv_getopt(2, argv, "ac") == -1);
    });
    EXPECT_TRUE(child.ok()) << child;
}

}  // namespace
