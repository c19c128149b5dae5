# Makes a public header ready for Doxygen, which links to friends and writes nothing of them: they are no part of the manual.
# Every line keeps its number.
/^ *template <.*>$/ {
  if (held) print template
  template = $0
  held = 1
  next
}
/^ *friend .*[;}]$/ {
  if (held) print ""
  print ""
  held = 0
  next
}
held {
  print template
  held = 0
}
{ print }
