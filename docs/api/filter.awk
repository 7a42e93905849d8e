# Turns the plain comments of our headers into such as doxygen reads. A comment speaks for all
# declarations up to the next blank line, so it is repeated for each of them.

function flush() {
  printf "%s", comment
}
# Comments of C as those of C++: a block that begins a line, and one that ends it.
inBlock { isOver = /\*\/$/; sub(/^ *\*? ?/, blockPrefix); sub(/ *\*\/$/, ""); inBlock = !isOver }
!inBlock && /^ *\/\* / {
  blockPrefix = $0
  sub(/\/\*.*/, "// ", blockPrefix)
  inBlock = !/\*\/$/
  sub(/\/\*/, "//")
  sub(/ *\*\/$/, "")
}
!inBlock && / \/\* / && !/^#/ {
  blockPrefix = "  // "
  inBlock = !/\*\/$/
  sub(/ *\/\*/, "  //")
  sub(/ *\*\/$/, "")
}
# What a backslash begins is a command of doxygen's.
/\/\// { gsub(/\\/, "&&") }
# Doxygen takes this pattern for the end of a comment.
{ gsub(/`\/\*\*\/`/, "<code>/\\&#42;\\&#42;/</code>") }

FNR == 1 { print "/// @file"; sub(/^\/\//, "///"); print; heading = 1; next }
heading && /^\/\// { print "/" $0; next }
{ heading = 0 }

# What the compiler makes or takes away by default needs no words.
/^ .* = (default|delete);$/ { next }

/^ *\/\// {
  if (!inComment) comment = ""
  inComment = 1
  sub(/\/\//, "///")
  comment = comment $0 "\n"
  next
}
/^ *$/ {
  # A comment that stands alone is a heading; doxygen has no place for it.
  comment = ""
  inComment = 0
  ended = 0
  print
  next
}
{
  if (inComment || (ended && comment != "" && $0 !~ /^ *[}#]/)) flush()
  inComment = 0
  ended = /; *(\/\/.*)?$/
  # A class or enumeration is not over with its first member.
  if (/\{$/) comment = ""
  sub(/  \/\/ /, "  ///< ")
  print
}
