#!/usr/bin/env bash
# Prints the share of test code: non-blank, non-comment lines of C and C++ sources under tests/
# against all other such sources of the repository (build output and .git left out). A line that
# holds only a `//` comment, or lies wholly inside a `/* */` block, is a comment; a line with code
# before or after a comment is code. The project keeps the share at 25-33%.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

count_code_lines() {
  # String and character literals are blanked first so that "//" or "/*" inside them is not
  # taken for a comment.
  xargs -0 -r awk '
    FNR == 1 { inBlock = 0 }
    {
      line = $0
      gsub(/\\./, "", line)
      gsub(/"[^"]*"/, "\"\"", line)
      gsub(/'\''[^'\'']*'\''/, "'\'''\''", line)
      code = ""
      while (length(line) > 0) {
        if (inBlock) {
          end = index(line, "*/")
          if (end == 0) { line = ""; break }
          line = substr(line, end + 2); inBlock = 0; continue
        }
        lineComment = index(line, "//"); blockStart = index(line, "/*")
        if (lineComment > 0 && (blockStart == 0 || lineComment < blockStart)) {
          code = code substr(line, 1, lineComment - 1); line = ""; break
        }
        if (blockStart > 0) {
          code = code substr(line, 1, blockStart - 1); line = substr(line, blockStart + 2)
          inBlock = 1; continue
        }
        code = code line; line = ""
      }
      if (code ~ /[^ \t\r]/) n++
    }
    END { print n + 0 }' | awk '{ s += $1 } END { print s + 0 }'
}

sources() {
  find . \( -path ./build -o -path ./.git \) -prune -o -type f \
    \( -name '*.c' -o -name '*.cc' -o -name '*.cpp' -o -name '*.h' -o -name '*.hpp' \) "$@" -print0
}

tests=$(sources -path './tests/*' | count_code_lines)
others=$(sources -not -path './tests/*' | count_code_lines)
share=$(awk -v t="${tests}" -v o="${others}" 'BEGIN { printf "%.1f", (o > 0 ? 100 * t / o : 0) }')
echo "test lines:  ${tests}"
echo "other lines: ${others}"
echo "share:       ${share}% (tests against all other C/C++; target 25-33%)"
