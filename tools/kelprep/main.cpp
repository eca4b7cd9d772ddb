/* kelprep: prepares embedded SQL. From a C++ source with EXEC SQL statements (grammar: preparer.h) it makes the C++
 * that runs them through the engine's package runtime, and the bind file that puts them into a database.
 *
 * Errors are written as file:line:column: message. Nothing is written when there is one. */
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "preparer.h"

namespace {

namespace fs = std::filesystem;

constexpr uintmax_t largestSource = uintmax_t{16} << 20U;

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string readSource(const std::string& path) {
    std::error_code failure;
    if (!fs::is_regular_file(path, failure)) throw Failure(path + ": there is no such file");
    if (fs::file_size(path, failure) > largestSource || failure)
        throw Failure(path + ": the file is larger than 16 MB");
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file) throw Failure(path + ": the file cannot be read");
    return text;
}

// A reader sees the old file or the new one.
void writeFile(const std::string& path, const std::string& text) {
    const std::string beside = path + ".new";
    std::ofstream file(beside, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    std::error_code failure;
    if (file) fs::rename(beside, path, failure);
    if (!file || failure) {
        fs::remove(beside, failure);
        throw Failure(path + ": the file cannot be written");
    }
}

int prepare(const std::string& sourcePath, const std::string& outputPath, const std::string& bindPath) {
    std::vector<kelprep::SourceError> errors;
    const kelprep::PreparedSource prepared = kelprep::prepareSource(readSource(sourcePath), sourcePath, errors);
    for (const kelprep::SourceError& error : errors) {
        std::cerr << sourcePath << ':' << error.place().line << ':' << error.place().column << ": " << error.what()
                  << '\n';
    }
    if (!errors.empty()) return 1;
    writeFile(outputPath, prepared.code);
    writeFile(bindPath, kelhost::writeBindFile(prepared.bindFile));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Prepares embedded SQL in a C++ source: writes the C++ and the bind file.", "kelprep");
    std::string source;
    std::string output;
    std::string bindFile;
    app.add_option("source", source, "C++ with EXEC SQL statements")->required();
    app.add_option("--output", output, "the C++ to write")->required();
    app.add_option("--bind-file", bindFile, "the bind file to write")->required();
    try {
        app.parse(argc, argv);
        return prepare(source, output, bindFile);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 1;
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
}
