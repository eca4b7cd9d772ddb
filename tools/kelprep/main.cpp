/* kelprep: prepares embedded SQL. From a C++ source with EXEC SQL statements (grammar: preparer.h) it makes the C++
 * that runs them through the engine's package runtime, and the bind file that puts them into a database.
 *
 * Errors are written as file:line:column: message. Nothing is written when there is one. */
#include <CLI/CLI.hpp>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <system_error>

#include "preparer.h"

namespace {

namespace fs = std::filesystem;

constexpr uintmax_t largestSource = uintmax_t{16} << 20U;

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::error_code lastFailure() {
    return {errno, std::generic_category()};
}

std::string readSource(const std::string& path) {
    std::error_code failure;
    const auto require = [&](bool done) {
        if (!done) throw Failure(path + ": the source cannot be read: " + failure.message());
    };
    const fs::file_status status = fs::status(path, failure);
    require(fs::exists(status));
    if (!fs::is_regular_file(status)) throw Failure(path + ": the source is no regular file");
    const uintmax_t size = fs::file_size(path, failure);
    require(!failure);
    if (size > largestSource) {
        throw Failure(path + ": the source has " + std::to_string(size) + " bytes; at most " +
                      std::to_string(largestSource) + " are possible");
    }
    std::ifstream file(path, std::ios::binary);
    std::string text(size, '\0');
    file.read(text.data(), static_cast<std::streamsize>(size));
    failure = lastFailure();
    require(file.good());
    return text;
}

// A reader sees the old file or the new one.
void writeFile(const std::string& path, const std::string& text) {
    const std::string beside = path + ".new";
    std::ofstream file(beside, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    std::error_code failure = file ? std::error_code() : lastFailure();
    if (!failure) fs::rename(beside, path, failure);
    if (failure) {
        std::error_code ignored;
        fs::remove(beside, ignored);
        throw Failure(path + ": the file cannot be written: " + failure.message());
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
