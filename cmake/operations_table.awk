# Says how the names of the first file occur in the C and C++ sources behind it: one line "KIND NAME FILE" each time.
#   definition  UINT32 Name(...) {        declaration  UINT32 Name(...);
#   call        Name(...)                 mention      any other use, such as taking the address
# Comments, strings, characters, preprocessor lines and operands that are never evaluated are passed over.

function endFile() {
    if (declared != "") print "declaration", declared, file
    state = ""; continued = 0; declared = ""; depth = 0; pending = ""; last = ""; before = ""
}

# Whether a name behind these tokens is the one that a declaration introduces: a type stands before it.
function isDeclarator(previous, earlier) {
    if (previous == "*" || previous == "&") return earlier ~ /^[A-Za-z_]/ && earlier != "return"
    if (previous ~ /^(return|else|do|co_return|co_yield|and|or|not)$/) return 0
    return previous ~ /^[A-Za-z_]/
}

function take(token) {
    if (declared != "" && depth == 0 && token !~ /^(noexcept|TARN_BOOT_NOEXCEPT)$/) {
        print (token == "{" ? "definition" : "declaration"), declared, file
        declared = ""
    }
    if (pending != "") {
        if (token != "(") {
            print "mention", pending, file
        } else if (isDeclarator(last2, last3)) {
            declared = pending
            depth = 0
        } else if (!(last2 == "(" && last3 ~ /^(decltype|sizeof|noexcept|alignof|typeid)$/)) {
            print "call", pending, file
        }
        pending = ""
    }
    if (declared != "") {
        if (token == "(") depth++
        if (token == ")") depth--
    }
    if (token in wanted) {
        pending = token
        last2 = last
        last3 = before
    }
    before = last
    last = token
}

# The line without what is no code. A literal leaves a token of its own behind, so that "f" (x) calls nothing.
function code(line,    out, at, mark, rest) {
    out = ""
    while (line != "") {
        if (state != "") {
            at = index(line, state)
            if (at == 0) return out
            line = substr(line, at + length(state))
            state = ""
        } else if (!match(line, /\/\*|\/\/|R?"|'/)) {
            return out line
        } else {
            mark = substr(line, RSTART, RLENGTH)
            out = out substr(line, 1, RSTART - 1)
            rest = substr(line, RSTART + RLENGTH)
            if (mark == "//") return out
            if (mark == "/*") {
                state = "*/"
                out = out " "
            } else if (mark == "R\"") {
                at = index(rest, "(")
                state = ")" substr(rest, 1, at - 1) "\""
                rest = substr(rest, at + 1)
                out = out " 0 "
            } else if (mark == "'" && out ~ /[0-9A-Fa-f]$/ && rest ~ /^[0-9A-Fa-f]/ && rest !~ /^.'/) {
                # groups of digits
            } else {
                if (!match(rest, mark == "'" ? "^([^'\\\\]|\\\\.)*'" : "^([^\"\\\\]|\\\\.)*\"")) return out
                rest = substr(rest, RLENGTH + 1)
                out = out " 0 "
            }
            line = rest
        }
    }
    return out
}

FILENAME == ARGV[1] { if ($1 != "") wanted[$1] = 1; next }
FILENAME != file { endFile(); file = FILENAME }
{
    text = code($0)
    skipped = continued || text ~ /^[ \t]*#/
    continued = skipped && $0 ~ /\\$/
    if (skipped) next
    while (match(text, /[A-Za-z_][A-Za-z0-9_]*|[0-9][A-Za-z0-9_.]*|&&|->|::|[^ \t]/)) {
        take(substr(text, RSTART, RLENGTH))
        text = substr(text, RSTART + RLENGTH)
    }
}
END { endFile() }
