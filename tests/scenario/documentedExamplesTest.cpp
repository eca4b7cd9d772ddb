/* Every example of README.md and docs/ is what the program really says.
 *
 * A block "```console" holds commands, each behind "$ ", and below each what it says on standard output and then on
 * standard error. Each section ("## ") is one session of a shell: a new instance, and the folder samples/; a path
 * outside of it is refused. "$ cat FILE" shows a document of the user's own; the session has it from there on. A line
 * "..." stands for any lines. "Exit status N." below a block is the status of its last command, which is 0 where it
 * does not say. Moments of storing are the user's own too, and his name; his folder is called /home/kel, and the
 * instance directory /var/lib/kelpolicy. */
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "scenario.h"

namespace scenario {
namespace {

namespace fs = std::filesystem;

struct Command {
    std::string words{};
    std::vector<std::string> said{};
};

struct Block {
    std::string place{}; /* "cli.md:120" */
    size_t section = 0;
    std::vector<Command> commands{};
    int status = 0; /* of the last command */
};

/* The blocks of a document that run the program. */
std::vector<Block> blocksOf(const fs::path& path) {
    std::vector<Block> blocks;
    std::ifstream file(path);
    EXPECT_TRUE(file.is_open()) << path;
    size_t section = 0;
    size_t number = 0;
    bool isBehindABlock = false;
    bool isInside = false;
    for (std::string line; std::getline(file, line);) {
        ++number;
        if (isInside) {
            std::vector<Command>& commands = blocks.back().commands;
            isInside = line != "```";
            if (!isInside) {
                isBehindABlock = true;
            } else if (line.starts_with("$ ")) {
                commands.push_back({line.substr(2)});
            } else if (!commands.empty() && commands.back().said.empty() && commands.back().words.ends_with('\\')) {
                commands.back().words.back() = ' ';
                commands.back().words += line;
            } else if (!commands.empty()) {
                commands.back().said.push_back(line);
            } else {
                ADD_FAILURE() << path << ":" << number << ": a console block begins with a command";
            }
        } else if (line == "```console") {
            isInside = true;
            blocks.push_back({path.filename().string() + ":" + std::to_string(number), section});
        } else if (line.starts_with("## ")) {
            ++section;
        } else if (isBehindABlock && !line.empty()) {
            isBehindABlock = false;
            constexpr std::string_view status = "Exit status ";
            if (line.starts_with(status)) blocks.back().status = std::stoi(line.substr(status.size()));
        }
    }
    EXPECT_FALSE(isInside) << path << ": the last block does not end";
    return blocks;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

/* Whether the lines are as written, "..." standing for any. */
bool agrees(const std::string* written, const std::string* writtenEnd, const std::string* said,
            const std::string* saidEnd) {
    for (; written != writtenEnd; ++written, ++said) {
        if (written->ends_with("...") && written->find_first_not_of(' ') == written->size() - 3) {
            for (const std::string* next = said; next <= saidEnd; ++next)
                if (agrees(written + 1, writtenEnd, next, saidEnd)) return true;
            return false;
        }
        if (said == saidEnd || *written != *said) return false;
    }
    return said == saidEnd;
}

/* The moment in which a row was stored is never the same, nor who did it. */
std::vector<std::string> withoutMoments(std::vector<std::string> lines) {
    static const std::regex user("user [^ )]+\\)");
    static const std::regex moment("[0-9]{4}-[0-9]{2}-[0-9]{2}-[0-9]{2}\\.[0-9]{2}\\.[0-9]{2}\\.[0-9]{6}");
    for (std::string& line : lines)
        line = std::regex_replace(std::regex_replace(line, moment, "MOMENT"), user, "user NAME)");
    return lines;
}

std::string replaced(std::string text, const std::string& what, const std::string& by) {
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
    return text;
}

/* Whether a command names a path that is not below the session's folder: it is not run, for it might write there. */
bool reachesOutside(const std::string& words) {
    static const std::regex outside("(^|[^A-Za-z0-9_.-])[/~](?!dev/null)|\\.\\.");
    return std::regex_search(words, outside);
}

/* Whether a command answers from the instance of its session. */
bool readsTheTable(const std::string& words) {
    static const std::regex answers("^kelpolicy (show|window|describe|get|retrieve|history|dump)\\b");
    return std::regex_search(words, answers) && words.find("--document") == std::string::npos;
}

class DocumentedExamples : public Scenario {
protected:
    void beginSession() {
        directory_ = file("session" + std::to_string(++sessions_));
        fs::create_directory(directory_);
        fs::create_directory_symlink(sample(""), directory_ + "/samples");
    }

    void check(const Command& command, const std::string& place, int status) const {
        if (reachesOutside(command.words)) {
            ADD_FAILURE() << place << ": $ " << command.words << "\nAn example works in the folder it is run in.";
            return;
        }
        const std::string show = "cat ";
        if (command.words.starts_with(show)) {
            std::string document;
            for (const std::string& line : command.said) document += line + "\n";
            writeFile(directory_ + "/" + command.words.substr(show.size()), document);
            return;
        }
        if (command.words.starts_with("kelpolicy") && readsTheTable(command.words)) {
            const Outcome made = runInShell("[ -e kelpolicy ] || kelpolicy init");
            EXPECT_EQ(made.status, 0) << place << made.err;
        }
        const Outcome outcome = runInShell(command.words);
        EXPECT_EQ(outcome.status, status) << place << ": " << command.words << "\n" << outcome.err;
        const std::string all =
            replaced(replaced(outcome.out + outcome.err, directory_ + "/kelpolicy", "/var/lib/kelpolicy"), directory_,
                     "/home/kel");
        const std::vector<std::string> said = withoutMoments(linesOf(all));
        const std::vector<std::string> written = withoutMoments(command.said);
        EXPECT_TRUE(agrees(written.data(), written.data() + written.size(), said.data(), said.data() + said.size()))
            << place << ": $ " << command.words << "\nThe program says:\n"
            << all;
    }

private:
    Outcome runInShell(const std::string& words) const {
        const std::string folder = fs::path(program()).parent_path();
        return runProgram(
            {"/bin/sh", "-c", "cd '" + directory_ + "' && PATH='" + folder + "':\"$PATH\"\n" + words},
            {.environment = {{"KELPOLICY_INSTANCE", directory_ + "/kelpolicy"}, {"HOME", directory_}, {"TZ", "UTC"}}});
    }

    int sessions_ = 0;
    std::string directory_{};
};

TEST_F(DocumentedExamples, areWhatTheProgramSays) {
    const fs::path root = fs::path(sample("")).parent_path().parent_path();
    std::vector<fs::path> documents = {root / "README.md", root / "CONTRIBUTING.md"};
    for (const auto& entry : fs::directory_iterator(root / "docs"))
        if (entry.path().extension() == ".md") documents.push_back(entry.path());

    size_t examples = 0;
    for (const fs::path& document : documents) {
        size_t checked = 0;
        size_t section = SIZE_MAX;
        for (const Block& block : blocksOf(document)) {
            if (block.section != section) beginSession();
            section = block.section;
            for (const Command& command : block.commands) {
                check(command, block.place, &command == &block.commands.back() ? block.status : 0);
                checked += command.words.starts_with("kelpolicy") ? 1 : 0;
            }
        }
        const std::vector<std::string> lines = linesOf(readFile(document));
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                                [](const std::string& line) { return line.starts_with("$ kelpolicy"); }),
                  checked)
            << document << ": an example stands outside of the console blocks";
        examples += checked;
    }
    EXPECT_GE(examples, 20U) << "are these the documents?";
}

TEST(DocumentedCommand, reachesOutsideByAPathThatDoesNotStayBelow) {
    const struct {
        const char* words;
        bool isOutside;
    } cases[] = {
        {"kelpolicy show backup", false},
        {"kelpolicy validate windows draft.xml > out/a.xml 2>/dev/null", false},
        {"cat draft.xml", false},
        {"cat ../draft.xml", true},
        {"cat /etc/passwd", true},
        {"kelpolicy dump policies/../../x", true},
        {"kelpolicy --instance=/var/x init", true},
        {"kelpolicy get windows > ~/w.xml", true},
    };
    for (const auto& example : cases) EXPECT_EQ(reachesOutside(example.words), example.isOutside) << example.words;
}

}  // namespace
}  // namespace scenario
