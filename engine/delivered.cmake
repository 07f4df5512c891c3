# delivered.cmake OUTPUT FILE...: a function that gives the text of each file by its name.
math(EXPR last "${CMAKE_ARGC} - 1")
foreach(i RANGE 4 ${last})
    cmake_path(GET CMAKE_ARGV${i} FILENAME name)
    file(READ ${CMAKE_ARGV${i}} bytes HEX)
    string(REGEX REPLACE "(..)" "\\\\x\\1" bytes "${bytes}")
    string(APPEND rows "    {\"${name}\", \"${bytes}\"},\n")
endforeach()
file(WRITE ${CMAKE_ARGV3} "#include \"files.h\"

namespace engine {
namespace {

constexpr struct {
    const char* name;
    std::string_view text;
} FILES[] = {
${rows}};

}  // namespace

std::string_view delivered(std::string_view name) {
    for (const auto& one : FILES) {
        if (name == one.name) {
            return one.text;
        }
    }
    return {};
}

}  // namespace engine
")
