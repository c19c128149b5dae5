# Usage: awk -v headers=DIRECTORY -f extract.awk FILE...
# Writes one source file with the examples of the public headers, which stand between @code and @endcode, and of the pages
# (*.md), whose blocks begin with ```cpp at the line's beginning.
#
# An example is the body of a function that is given `db` and `text`, see run_examples.h, and it is run. An
# example whose first line is an #include stands at file scope, and is only compiled.
function fail(place, message) {
  print place ": " message > "/dev/stderr"
  failed = 1
  exit 1
}

function finishFile() {
  if (inside) fail(header, "an example has no end")
  if (hasClass && !hasExample) fail(header, "it declares a type and has no example")
}

BEGIN {
  print "#include \"run_examples.h\""
}

function begin() {
  inside = hasExample = classHasExample = 1
  lines = 0
}

function end() {
  if (lines == 0) fail(place, "an empty example")
  if (atFunction) print "}"
  inside = 0
}

function take(line) {
  if (lines++ == 0) {
    atFunction = line !~ /^#include/
    if (atFunction) {
      print "static void example" ++count "([[maybe_unused]] CVORN* db, [[maybe_unused]] const std::string& text)"
      print "{"
      table = table "    {\"" header ":" FNR "\", example" count "},\n"
    }
    print "#line " FNR " \"" FILENAME "\""
  }
  print line
}

FNR == 1 {
  finishFile()
  hasClass = hasExample = 0
  isPage = FILENAME ~ /\.md$/
  header = FILENAME
  if (isPage) sub(/.*\/docs\//, "docs/", header)
  else header = substr(header, length(headers) + 2)
  if (!isPage) print "#include \"" header "\""
}

isPage {
  place = FILENAME ":" FNR
  if (inside && $0 == "```") end()
  else if (inside) take($0)
  else if ($0 == "```cpp") begin()
  next
}

{
  place = FILENAME ":" FNR
  characters = $0
  gsub(/[\200-\277]/, "", characters)
  if (length(characters) > 110) fail(place, "a line of more than 110 columns, which nothing breaks in a comment")
}

/^(class|struct) .*[^;]$/ { hasClass = 1 }

/^class .*[^;]$/ { class = place }

/^};$/ {
  if (class && !classHasExample) fail(class, "a class without an example in its comment or in its body")
  class = classHasExample = 0
}

/@endcode/ {
  if (!inside || $0 !~ /^ *\/\/\/ @endcode$/) fail(place, "an @endcode out of place")
  end()
  next
}

/@code/ {
  if (inside || $0 !~ /^ *\/\/\/ @code$/) fail(place, "a @code out of place")
  begin()
  next
}

inside {
  if ($0 !~ /^ *\/\/\/(   .*)?$/) fail(place, "a line of an example that does not begin with /// and three blanks")
  sub(/^ *\/\/\/(   )?/, "")
  take($0)
}

END {
  if (failed) exit 1
  finishFile()
  if (count == 0) fail("extract.awk", "no example at all")
  print "int main() {\n  return runExamples({\n" table "  });\n}"
}
