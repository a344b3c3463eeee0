# The table and the ratios of compare-peers. A line of input: row, who, microseconds, KiB, bytes, files.

BEGIN {
  FS = "\t"
  split("first store|second store, all read|second store, as usual|verify|list|pack|verify, packed|list, packed|" \
        "drop half and collect", rows, "|")
  split("orvik orvik-loose git git-0 restic restic-0 borg borg-0", everybody, " ")
}

{
  n = ++count[$1, $2]
  for (i = 3; i <= 6; i++) value[$1, $2, i, n] = $i
}

# The middle one of the values of a column.
function median(row, who, column,    n, i, j, kept, sorted) {
  n = count[row, who]
  for (i = 1; i <= n; i++) {
    kept = value[row, who, column, i] + 0
    for (j = i; j > 1 && sorted[j - 1] > kept; j--) sorted[j] = sorted[j - 1]
    sorted[j] = kept
  }
  return n % 2 ? sorted[(n + 1) / 2] : (sorted[n / 2] + sorted[n / 2 + 1]) / 2
}

function seconds(row, who) { return median(row, who, 3) / 1e6 }

# Of a peer's two forms the faster one.
function faster(row, who,    other) {
  other = who "-0"
  return seconds(row, who) < seconds(row, other) ? who : other
}

function met(ok) { return ok ? "met" : "MISSED" }

function aim(row, ours, peerRow, peer, most, stretch,    ratio) {
  ratio = seconds(row, ours) / seconds(peerRow, peer)
  printf "  %-22s %-11s beside %-8s %-22s %6.3f  %s %.2f: %s\n", row, ours, peer, peerRow, ratio, \
         stretch ? "stretch" : "at most", most, met(ratio <= most)
}

# Less memory than the peer, over all rows that both have.
function memory(peer, above,    r, w, row, ours, theirs, ok, seen) {
  for (r = 1; r in rows; r++) {
    row = rows[r]
    if (!count[row, peer]) continue
    theirs = median(row, peer, 4)
    if (theirs <= above) continue
    ours = median(row, "orvik", 4)
    if (count[row, "orvik-loose"] && median(row, "orvik-loose", 4) > ours) ours = median(row, "orvik-loose", 4)
    printf "  %-22s %6.1f beside %-8s %6.1f MiB: %s\n", row, ours / 1024, peer, theirs / 1024, met(ours < theirs)
  }
}

END {
  for (r = 1; r in rows; r++) {
    printf "\n%s\n", rows[r]
    for (w = 1; w in everybody; w++) {
      if (!count[rows[r], everybody[w]]) continue
      printf "  %-12s %8.3f s  %7.1f MiB memory  %7.1f MB in %6d files\n", everybody[w], \
             seconds(rows[r], everybody[w]), median(rows[r], everybody[w], 4) / 1024, \
             median(rows[r], everybody[w], 5) / 1e6, median(rows[r], everybody[w], 6)
    }
  }

  print "\nTime: ours by theirs"
  aim("first store", "orvik", "first store", "git-0", 0.80)
  aim("first store", "orvik", "first store", faster("first store", "borg"), 0.80, "stretch")
  row = "second store, all read"
  aim(row, "orvik", row, faster(row, "restic"), 1.15)
  aim(row, "orvik", row, faster(row, "git"), 1.00, "stretch")
  aim("verify", "orvik", "verify", "git-0", 0.60)
  aim("verify, packed", "orvik", "verify", "git-0", 0.35)
  aim("verify, packed", "orvik", "verify", faster("verify", "restic"), 0.40)
  aim("pack", "orvik", "pack", faster("pack", "git"), 0.70)
  row = "drop half and collect"
  slower = seconds(row, "orvik") > seconds(row, "orvik-loose") ? "orvik" : "orvik-loose"
  aim(row, slower, row, faster(row, "git"), 0.30)
  aim(row, slower, row, faster(row, "restic"), 0.15)
  aim("list", "orvik", "list", faster("list", "borg"), 0.50)
  aim("list, packed", "orvik", "list, packed", faster("list, packed", "borg"), 0.10)

  print "\nMemory: less than restic and borg, and than git where that takes more than 20 MiB"
  for (w = 3; w in everybody; w++) memory(everybody[w], everybody[w] ~ /^git/ ? 20480 : 0)
}
