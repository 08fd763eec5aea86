# shellcheck shell=sh
# Every kind of tampering is refused: with exit status 1, the reason, and no file left behind.

# refused PACKAGE PATTERN: neither verified nor extracted from.
refused() {
    expect 1 "$2" tarn package verify --config keys/basic.conf "$1"
    expect 1 'TARN_EXTRACT' tarn package extract --config keys/basic.conf "$1" version.txt -d refused
    expect_absent refused
}

title "Refused: one flipped bit in a member"
tell "The list says what the member must be. Other members can still be taken out, this one cannot."
cp demo.cc member.cc
flip member.cc $(($(place member.cc version.txt 4) + 352 + 3))
refused member.cc 'version.txt.bin\) verify failed'
tell "Which of them? The check goes on after a bad one:"
expect 1 'differs +version.txt' tarn package verify --config keys/basic.conf --members member.cc
expect 0 '"users.txt" -> good/users.txt' tarn package extract --config keys/basic.conf member.cc users.txt -d good
expect_same users good/users.txt

title "Refused: one flipped bit in the signed list"
tell "The list is what is signed: whoever changes a digest in it breaks the signature."
cp demo.cc list.cc
flip list.cc $(($(place list.cc signature_pss_filelist 4) + 352 + 150))
refused list.cc 'the signed list was changed after it was signed'

title "Refused: one flipped bit in the signature"
cp demo.cc signature.cc
flip signature.cc $(($(place signature.cc signature_pss_cms 4) + $(place signature.cc signature_pss_cms 5) - 20))
refused signature.cc 'the signature was changed, or made with another key'

title "Refused: a truncated file"
tell "The members must fill the file exactly, so a single missing byte is noticed before anything is hashed."
head -c $(($(wc -c <demo.cc) - 1)) demo.cc >short.cc
refused short.cc 'TARN_VERIFY_STRUCTURE'
expect 0 'remark: slot 6: ends at' tarn package header short.cc
head -c 1000 demo.cc >stump.cc
refused stump.cc 'TARN_VERIFY_STRUCTURE'

title "Refused: somebody else's key"
tell "A package that is sound in itself, signed under a CA that this device does not know:"
expect 0 'DEVELOPMENT ONLY' tarn keys new foreign
expect 0 'signed' tarn package create -o foreign.cc --key foreign/signer.key --cert foreign/signer.pem version.txt
refused foreign.cc 'leads to no configured trust anchor'
tell "A device that trusts that CA takes it:"
expect 0 'valid, signature trusted' tarn package verify --config foreign/basic.conf foreign.cc

title "Refused: a header whose sizes lie"
tell "The table says that the first member is one byte longer than it is: the second would have to start later."
cp demo.cc length.cc
flip length.cc 43
refused length.cc 'TARN_VERIFY_STRUCTURE'
tell "257 members, one more than a package holds:"
cp demo.cc count.cc
put count.cc 6 1
put count.cc 7 1
refused count.cc 'number\(257\) over limit'
expect 0 'remark: file count 257' tarn package header count.cc
tell "A member header that claims more content than the member has lies inside what the digest covers:"
cp demo.cc payload.cc
flip payload.cc $(($(place payload.cc version.txt 4) + 340))
expect 1 'version.txt.bin\) verify failed' tarn package verify --config keys/basic.conf payload.cc
expect 1 'its header claims .* more than the member has' \
    tarn package extract --config keys/basic.conf payload.cc version.txt -d refused
expect_absent refused
