#!/usr/bin/env bash
# Seals and opens values and blobs with nothing but the openssl program and the shell, as a judge that shares no code
# with the programs that are tested. AES-256-GCM (NIST SP 800-38D) is put together from AES in counter mode, AES of one
# block and GHASH in shell arithmetic, so keep the texts short.
#
#   independent-crypto.sh envelope-seal PUBLIC-KEY.pem TEXT-FILE     prints the value
#   independent-crypto.sh envelope-open PRIVATE-KEY.pem VALUE-FILE   prints the text
#   independent-crypto.sh blob-seal DATA-KEY-HEX PLAIN-FILE          prints the sealed bytes
#   independent-crypto.sh blob-open DATA-KEY-HEX SEALED-FILE         prints the plain bytes
#   independent-crypto.sh name DATA-KEY-HEX PLAIN-FILE               prints the hidden name
#   independent-crypto.sh gcm-seal KEY-HEX NONCE-HEX ADDITIONAL-HEX PLAIN-HEX   prints cipher text and tag in hex
#
# Ends with status 3 when a tag is wrong.
set -euo pipefail
export LC_ALL=C

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

hexOf() { od -An -v -tx1 | tr -d ' \n'; }
bytesOf() {  # hex on standard input
  local hex
  hex=$(cat)
  printf "$(sed 's/../\\x&/g' <<<"$hex")"
}
hexOfText() { printf %s "$1" | hexOf; }

# One 16-byte block under AES-256: H and the mask of the tag.
aesBlock() { bytesOf <<<"$2" | openssl enc -aes-256-ecb -nopad -K "$1" | hexOf; }

# A product in GF(2^128), SP 800-38D, 6.3, of hex blocks. Each block is four 32-bit words.
multiply() {
  local x0=$((16#${1:0:8})) x1=$((16#${1:8:8})) x2=$((16#${1:16:8})) x3=$((16#${1:24:8}))
  local v0=$((16#${2:0:8})) v1=$((16#${2:8:8})) v2=$((16#${2:16:8})) v3=$((16#${2:24:8}))
  local z0=0 z1=0 z2=0 z3=0 i word bit low
  for ((i = 0; i < 128; i++)); do
    case $((i / 32)) in 0) word=$x0 ;; 1) word=$x1 ;; 2) word=$x2 ;; *) word=$x3 ;; esac
    bit=$((word >> (31 - i % 32) & 1))
    if ((bit)); then z0=$((z0 ^ v0)) z1=$((z1 ^ v1)) z2=$((z2 ^ v2)) z3=$((z3 ^ v3)); fi
    low=$((v3 & 1))
    v3=$((v3 >> 1 | (v2 & 1) << 31)) v2=$((v2 >> 1 | (v1 & 1) << 31)) v1=$((v1 >> 1 | (v0 & 1) << 31)) v0=$((v0 >> 1))
    if ((low)); then v0=$((v0 ^ 0xe1000000)); fi
  done
  printf '%08x%08x%08x%08x' $z0 $z1 $z2 $z3
}

exclusiveOr() {  # of two hex texts of equal length
  local out='' i
  for ((i = 0; i < ${#1}; i += 8)); do
    out+=$(printf '%08x' $((16#${1:i:8} ^ 16#${2:i:8})))
  done
  printf %s "$out"
}

padded() {  # with zero bytes to whole blocks
  local hex=$1
  while ((${#hex} % 32)); do hex+=00; done
  printf %s "$hex"
}

# tag KEY NONCE ADDITIONAL CIPHERTEXT, all in hex
gcmTag() {
  local h y=00000000000000000000000000000000 blocks i
  h=$(aesBlock "$1" "$y")
  blocks=$(padded "$3")$(padded "$4")$(printf '%016x%016x' $((${#3} * 4)) $((${#4} * 4)))
  for ((i = 0; i < ${#blocks}; i += 32)); do y=$(multiply "$(exclusiveOr "$y" "${blocks:i:32}")" "$h"); done
  exclusiveOr "$y" "$(aesBlock "$1" "${2}00000001")"
}

# The cipher text of hex plain text, and the other way round.
gcmStream() { bytesOf <<<"$3" | openssl enc -aes-256-ctr -nopad -K "$1" -iv "${2}00000002" | hexOf; }

gcmSeal() {  # KEY NONCE ADDITIONAL PLAIN: cipher text and tag
  local sealed
  sealed=$(gcmStream "$1" "$2" "$4")
  printf %s%s "$sealed" "$(gcmTag "$1" "$2" "$3" "$sealed")"
}

gcmOpen() {  # KEY NONCE ADDITIONAL CIPHERTEXT-AND-TAG
  local length=$((${#4} - 32))
  if ((length < 0)) || [ "$(gcmTag "$1" "$2" "$3" "${4:0:length}")" != "${4:length}" ]; then
    echo "the tag is wrong" >&2
    exit 3
  fi
  gcmStream "$1" "$2" "${4:0:length}"
}

hkdf() {  # KEY-HEX SALT-HEX INFO-TEXT: 32 bytes in hex
  local salt=()
  if [ -n "$2" ]; then salt=(-kdfopt "hexsalt:$2"); fi
  openssl kdf -keylen 32 -kdfopt digest:SHA256 -kdfopt "hexkey:$1" "${salt[@]}" \
    -kdfopt "hexinfo:$(hexOfText "$3")" HKDF | tr -d ': \n' | tr A-F a-f
}

# The head of a SubjectPublicKeyInfo (RFC 5480) of P-256 before its 65 bytes of point.
pointHead=3059301306072a8648ce3d020106082a8648ce3d030107034200
pointOf() { openssl pkey -in "$1" "${@:2}" -pubout -outform DER | hexOf | cut -c$((${#pointHead} + 1))-; }
keyIDOf() { bytesOf <<<"$1" | openssl dgst -sha256 -r | cut -c1-16; }
agree() {  # PRIVATE-KEY.pem POINT-HEX
  bytesOf <<<"$pointHead$2" >"$work/peer.der"
  openssl pkeyutl -derive -inkey "$1" -peerkey "$work/peer.der" -peerform DER | hexOf
}

prefix=ORVIK-ENC:v1:
magic=$(printf 'ORVIK-AEAD1\n' | hexOf)

envelopeSeal() {
  local recipient ephemeral shared id nonce payload
  recipient=$(pointOf "$1" -pubin)
  id=$(keyIDOf "$recipient")
  openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out "$work/ephemeral.pem"
  ephemeral=$(pointOf "$work/ephemeral.pem")
  shared=$(agree "$work/ephemeral.pem" "$recipient")
  nonce=$(openssl rand -hex 12)
  payload=$ephemeral$nonce$(gcmSeal "$(hkdf "$shared" "$ephemeral" orvik-enc-v1)" "$nonce" \
    "$(hexOfText "$prefix$id")" "$(hexOf <"$2")")
  printf '%s%s:%s\n' "$prefix" "$id" "$(bytesOf <<<"$payload" | openssl base64 -A | tr '+/' '-_' | tr -d =)"
}

envelopeOpen() {
  local value id base64 payload ephemeral shared
  value=$(cat "$2")
  value=${value#"$prefix"}
  id=${value%%:*}
  base64=$(tr '_-' '/+' <<<"${value#*:}")
  while ((${#base64} % 4)); do base64+='='; done
  payload=$(openssl base64 -d -A <<<"$base64" | hexOf)
  ephemeral=${payload:0:130}
  shared=$(agree "$1" "$ephemeral")
  gcmOpen "$(hkdf "$shared" "$ephemeral" orvik-enc-v1)" "${payload:130:24}" "$(hexOfText "$prefix$id")" \
    "${payload:154}" >"$work/plain"
  bytesOf <"$work/plain"
}

blobSeal() {
  local nonce
  nonce=$(openssl rand -hex 12)
  bytesOf <<<"$magic$nonce$(gcmSeal "$(hkdf "$1" '' 'orvik seal')" "$nonce" '' "$(hexOf <"$2")")"
}

blobOpen() {
  local sealed
  sealed=$(hexOf <"$2")
  [ "${sealed:0:24}" = "$magic" ]
  gcmOpen "$(hkdf "$1" '' 'orvik seal')" "${sealed:24:24}" '' "${sealed:48}" >"$work/plain"
  bytesOf <"$work/plain"
}

case $1 in
  envelope-seal) envelopeSeal "$2" "$3" ;;
  envelope-open) envelopeOpen "$2" "$3" ;;
  blob-seal) blobSeal "$2" "$3" ;;
  blob-open) blobOpen "$2" "$3" ;;
  name) openssl dgst -sha256 -r -mac HMAC -macopt "hexkey:$(hkdf "$2" '' 'orvik name')" "$3" | cut -c1-64 ;;
  gcm-seal) gcmSeal "$2" "$3" "$4" "$5" && echo ;;
  *) exit 2 ;;
esac
