# Usage: awk -v headers=DIRECTORY -f extract.awk HEADER...
# Writes one source file with the examples of the public headers: what stands between @code and @endcode.
#
# An example is the body of a function that is given `db` and `text`, see run_examples.h, and it is run. An
# example whose first line is an #include stands at file scope, and is only compiled.
function fail(place, message) {
  print place ": " message > "/dev/stderr"
  failed = 1
  exit 1
}

function finishHeader() {
  if (inside) fail(header, "a @code has no @endcode")
  if (hasClass && !hasExample) fail(header, "it declares a class and has no example")
}

BEGIN {
  print "#include \"run_examples.h\""
}

FNR == 1 {
  finishHeader()
  hasClass = hasExample = 0
  header = substr(FILENAME, length(headers) + 2)
  print "#include \"" header "\""
}

{
  place = FILENAME ":" FNR
  characters = $0
  gsub(/[\200-\277]/, "", characters)
  if (length(characters) > 110) fail(place, "a line of more than 110 columns, which nothing breaks in a comment")
}

/^(class|struct) .*[^;]$/ { hasClass = 1 }

/@endcode/ {
  if (!inside || $0 !~ /^ *\/\/\/ @endcode$/) fail(place, "an @endcode out of place")
  if (lines == 0) fail(place, "an empty example")
  if (atFunction) print "}"
  inside = 0
  next
}

/@code/ {
  if (inside || $0 !~ /^ *\/\/\/ @code$/) fail(place, "a @code out of place")
  inside = hasExample = 1
  lines = 0
  next
}

inside {
  if ($0 !~ /^ *\/\/\/(   .*)?$/) fail(place, "a line of an example that does not begin with /// and three blanks")
  sub(/^ *\/\/\/(   )?/, "")
  if (lines++ == 0) {
    atFunction = $0 !~ /^#include/
    if (atFunction) {
      print "static void example" ++count "([[maybe_unused]] CVORN* db, [[maybe_unused]] const std::string& text)"
      print "{"
      table = table "    {\"" header ":" FNR "\", example" count "},\n"
    }
    print "#line " FNR " \"" FILENAME "\""
  }
  print
}

END {
  if (failed) exit 1
  finishHeader()
  if (count == 0) fail("extract.awk", "no example at all")
  print "int main() {\n  return runExamples({\n" table "  });\n}"
}
