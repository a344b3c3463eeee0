# The table and the ratios of compare-peers. A line of input: row, who, microseconds, KiB,
# bytes, files, seconds of processor time.

BEGIN {
  FS = "\t"
  split("first store|second store, all read|second store, as usual|verify|list|pack|verify, packed|list, packed|" \
        "drop half and collect", rows, "|")
  split("orvik orvik-loose git git-0 restic restic-0 borg borg-0", everybody, " ")
}

{
  n = ++count[$1, $2]
  for (i = 3; i <= 7; i++) value[$1, $2, i, n] = $i
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

# The form of a peer that takes the least memory in a row; where it takes no more than `above` KiB, nothing.
function leanest(row, peer, above,    form, best, least) {
  for (form = 1; form <= 2; form++) {
    who = form == 1 ? peer : peer "-0"
    if (!count[row, who] || median(row, who, 4) <= above) continue
    if (best == "" || median(row, who, 4) < least) {
      best = who
      least = median(row, who, 4)
    }
  }
  return best
}

function memory(row,    ours, peers, p, who, text, ok) {
  ours = median(row, "orvik", 4)
  if (count[row, "orvik-loose"] && median(row, "orvik-loose", 4) > ours) ours = median(row, "orvik-loose", 4)
  ok = 1
  split("restic borg git", peers, " ")
  for (p = 1; p in peers; p++) {
    who = leanest(row, peers[p], peers[p] == "git" ? 20480 : 0)
    if (who == "") continue
    text = text sprintf("  %s %.1f", who, median(row, who, 4) / 1024)
    if (ours >= median(row, who, 4)) ok = 0
  }
  printf "  %-22s %6.1f MiB beside%s: %s\n", row, ours / 1024, text, met(ok)
}

END {
  for (r = 1; r in rows; r++) {
    printf "\n%s\n", rows[r]
    for (w = 1; w in everybody; w++) {
      if (!count[rows[r], everybody[w]]) continue
      printf "  %-12s %8.3f s  %6.2f s CPU  %6.1f MiB memory  %6.1f MB in %5d files\n", everybody[w], \
             seconds(rows[r], everybody[w]), median(rows[r], everybody[w], 7), median(rows[r], everybody[w], 4) / 1024, \
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
  for (r = 1; r in rows; r++) memory(rows[r])
}
