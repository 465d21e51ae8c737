#!/usr/bin/env bash
# Starts the real Vaultix under a virtual 240 x 320 X screen on made-up data
# files, works it with the pen and keys like a user, and saves a PNG of
# every screen, dialog and message box of the main window.
#
#   tools/screenshots.sh BUILD_DIR OUT_DIR      (make screenshots does this)
#
# Needs Xvfb, xdotool and ImageMagick's import (make screenshots installs
# them). Nothing here touches the user's own data file.
set -euo pipefail

BUILD=$(cd "${1:-build}" && pwd)
OUT=${2:-docs/screenshots}
mkdir -p "$OUT"
OUT=$(cd "$OUT" && pwd)
APP=$BUILD/vaultix
DEMO=$BUILD/vx_demodata
for f in "$APP" "$DEMO"; do
  [ -x "$f" ] || { echo "missing $f: build first" >&2; exit 1; }
done

WORK=$(mktemp -d)
DISPLAY_NUM=${SHOT_DISPLAY:-97}
export DISPLAY=:$DISPLAY_NUM
XVFB_PID=""
APP_PIDS=()

finish() {
  for p in "${APP_PIDS[@]}"; do kill "$p" 2>/dev/null || true; done
  [ -n "$XVFB_PID" ] && kill "$XVFB_PID" 2>/dev/null || true
  rm -rf "$WORK"
}
trap finish EXIT

Xvfb "$DISPLAY" -screen 0 240x320x24 -nolisten tcp >"$WORK/xvfb.log" 2>&1 &
XVFB_PID=$!
for _ in $(seq 100); do xdotool getdisplaygeometry >/dev/null 2>&1 && break; sleep 0.1; done

# start DATA_HOME: runs Vaultix on $DATA_HOME/Vaultix/Vaultix.Dat
start() {
  XDG_DATA_HOME=$1 QT_QPA_PLATFORM=xcb "$APP" >"$WORK/app.log" 2>&1 &
  APP_PIDS+=($!)
}
stop_all() {
  for p in "${APP_PIDS[@]}"; do kill "$p" 2>/dev/null || true; wait "$p" 2>/dev/null || true; done
  APP_PIDS=()
}
# await TITLE: until a window of that caption is on the screen
await() {
  xdotool search --sync --onlyvisible --name "^$1\$" >/dev/null
  sleep 0.4
}
# gone TITLE: until no window of that caption is on the screen
gone() {
  for _ in $(seq 50); do
    xdotool search --onlyvisible --name "^$1\$" >/dev/null 2>&1 || { sleep 0.3; return; }
    sleep 0.1
  done
}
shot() {
  xdotool mousemove 239 319      # no pointer hovering over a button
  sleep 0.3
  import -window root "$OUT/$1.png"
  echo "  $1.png"
}
tap() { xdotool mousemove "$1" "$2" click 1; }
keys() { xdotool key --delay 40 "$@"; }
typed() { xdotool type --delay 30 "$1"; }
# data HOME [COUNT [PASSWORD]]: a made-up data file
data() {
  mkdir -p "$1/Vaultix"
  if [ -n "${3:-}" ]; then
    echo "$3" | "$DEMO" "$1/Vaultix/Vaultix.Dat" "${2:-0}" --password-stdin
  else
    "$DEMO" "$1/Vaultix/Vaultix.Dat" "${2:-0}"
  fi
}

# Places on the 240 x 320 main window.
LOCK_BUTTON="96 16"
UTILITY="25 15"
HEADER_FIELD2="130 43"

echo "Screenshots in $OUT:"

# 1. A new data file: the warning, then the empty, locked main screen.
start "$WORK/new"
await "No Password"
shot 01-no-password-warning
keys Return
gone "No Password"
shot 02-main-new-file
stop_all

# 2. A file with a password and records in protected and plain categories.
data "$WORK/demo" 30 secret
start "$WORK/demo"
await "Vaultix V1.0.0"
shot 03-main-locked
tap $LOCK_BUTTON
await "Enter Password"
shot 04-enter-password
typed wrong
keys Return
await "Password Incorrect"
shot 05-password-incorrect
keys Return                      # Yes: try again
await "Enter Password"
keys ctrl+a
typed secret
keys Return
gone "Enter Password"
shot 06-main-unlocked
# The category filter: the combo's list, then one category.
tap 170 16
sleep 0.6
shot 07-category-combo
keys Down Return
sleep 0.5
shot 08-filtered-bank
tap 170 16
sleep 0.5
keys Home Return
sleep 0.5
tap $HEADER_FIELD2
sleep 0.5
shot 09-sorted-by-field2
tap $UTILITY
sleep 0.6
shot 10-utility-menu
keys Down Down Return            # Password
await "Set Password"
shot 11-change-password
typed wrong
keys Return
await "Password Incorrect"
shot 12-old-password-incorrect
keys Return
gone "Password Incorrect"
tap $UTILITY
sleep 0.4
keys Down Down Return
await "Set Password"
typed secret
keys Tab
typed one
keys Tab
typed two
keys Return
await "Password Incorrect"
shot 13-new-passwords-differ
keys Return
gone "Password Incorrect"

# 3. A short list area: the form does not fit and scrolls.
xdotool search --onlyvisible --name "^Vaultix V1.0.0\$" windowsize --sync 240 150 >/dev/null 2>&1 || \
  xdotool search --onlyvisible --name "^Vaultix V1.0.0\$" windowsize 240 150
sleep 0.6
tap $UTILITY
sleep 0.4
keys Down Down Return
await "Set Password"
shot 14-short-area-scroll-bar
keys Next                        # a page down with the keyboard
sleep 0.2
W=$(xdotool search --onlyvisible --name "^Set Password\$" | head -1)
eval "$(xdotool getwindowgeometry --shell "$W")"
# The scroll bar's lower arrow: right edge, bottom of the form.
tap $((X + WIDTH - 8)) $((Y + HEIGHT - 8))
tap $((X + WIDTH - 8)) $((Y + HEIGHT - 8))
tap $((X + WIDTH - 8)) $((Y + HEIGHT - 8))
shot 15-short-area-scrolled
keys Escape
gone "Set Password"
stop_all

# 4. Files that must not be written: foreign, damaged, in use.
mkdir -p "$WORK/foreign/Vaultix"
printf 'Shopping list: milk, bread, eggs.\n%.0s' $(seq 20) >"$WORK/foreign/Vaultix/Vaultix.Dat"
start "$WORK/foreign"
await "Vaultix"
shot 16-foreign-file
keys Return
stop_all

data "$WORK/damaged" 6
# The free list's head now points past the end of the file.
printf '\xff\xff\x00\x00' | dd of="$WORK/damaged/Vaultix/Vaultix.Dat" bs=1 seek=32 conv=notrunc status=none
start "$WORK/damaged"
await "Vaultix"
shot 17-damaged-file
keys Escape
stop_all

data "$WORK/inuse" 4
start "$WORK/inuse"
await "No Password"
keys Return
gone "No Password"
start "$WORK/inuse"
await "Vaultix"
shot 18-file-in-use
keys Return
stop_all

# 5. Categories, configuration, colours and About, on a file with a password.
# close TITLE: taps the close control of that dialog's title bar
close() {
  geom "$1"
  tap $((X + WIDTH - 10)) $((Y - 10))
  gone "$1"
}
# geom TITLE: X, Y, WIDTH, HEIGHT of the dialog of that caption
geom() {
  local w
  w=$(xdotool search --onlyvisible --name "^$1\$" | tail -1)
  eval "$(xdotool getwindowgeometry --shell "$w")"
}
data "$WORK/cats" 20 secret
start "$WORK/cats"
await "Vaultix V1.0.0"
tap $LOCK_BUTTON
await "Enter Password"
typed secret
keys Return
gone "Enter Password"
tap $UTILITY
sleep 0.4
keys Down Down Down Return       # Category
await "Categories"
shot 20-category-chooser
geom "Categories"
tap $((X + 35)) $((Y + 48))      # Edit (Bank)
await "Edit Category"
shot 21-edit-category
keys Escape
gone "Edit Category"
tap $UTILITY
sleep 0.4
keys Down Down Down Return
await "Categories"
geom "Categories"
tap $((X + 115)) $((Y + 89))     # New
await "New Category"
typed bANK
keys Return
await "Edit Category"
shot 22-new-category-duplicate
keys Return
gone "Edit Category"
shot 23-new-category
close "New Category"
tap $UTILITY
sleep 0.4
keys Down Down Down Return
await "Categories"
geom "Categories"
tap $((X + 115)) $((Y + 48))     # Delete (Bank, which holds records)
await "Deleting Category"
shot 24-delete-category-refused
keys Return
gone "Deleting Category"
tap $UTILITY
sleep 0.4
keys Down Down Down Down Return  # Configuration
await "Configuration"
shot 25-configuration
geom "Configuration"
tap $((X + 80)) $((Y + 43))      # the odd-row colour
await "Select Colour"
shot 26-select-colour
geom "Select Colour"
tap $((X + 57)) $((Y + 97))      # Custom
await "Custom Colour"
shot 27-custom-colour
close "Custom Colour"
close "Select Colour"
close "Configuration"
tap $UTILITY
sleep 0.4
keys Up Up Return                # About
await "About Vaultix"
shot 28-about
keys Escape
gone "About Vaultix"
# A short list area: the category editor scrolls.
xdotool search --onlyvisible --name "^Vaultix V1.0.0\$" windowsize 240 150
sleep 0.6
tap $UTILITY
sleep 0.4
keys Down Down Down Return
await "Categories"
geom "Categories"
tap $((X + 115)) $((Y + 89))     # New
await "New Category"
shot 29-short-area-category
geom "New Category"
for _ in 1 2 3 4 5 6; do tap $((X + WIDTH - 8)) $((Y + HEIGHT - 8)); done
shot 30-short-area-category-scrolled
keys Escape
gone "New Category"
stop_all

# 6. The record dialog: its three states, its questions and refusals, and the
# form scrolled on a short list area.
# tap_in TITLE DX DY: taps at (DX, DY) inside the dialog of that caption
tap_in() {
  geom "$1"
  tap $((X + $2)) $((Y + $3))
}
NEW_BUTTON="68 16"
ROW1="60 60"                     # Backup 17, protected
ROW2="60 76"                     # Backup 18, plain
data "$WORK/rec" 30 secret
start "$WORK/rec"
await "Vaultix V1.0.0"
tap $ROW1
await "View Record"
shot 40-record-view-locked
tap_in "View Record" 151 16      # edit: refused while locked
await "Edit Record"
shot 41-record-edit-refused
keys Return
gone "Edit Record"
tap_in "View Record" 177 16      # delete: asked, then the unlock prompt
await "Delete Record\?"
shot 42-record-delete-question
keys Return
await "Enter Password"
shot 43-record-delete-unlock
keys Escape
gone "Enter Password"
close "View Record"
tap $LOCK_BUTTON
await "Enter Password"
typed secret
keys Return
gone "Enter Password"
sleep 0.5
tap $ROW1
await "View Record"
shot 44-record-view-unlocked
tap_in "View Record" 151 16
await "Edit Record"
shot 45-record-edit
close "Edit Record"
tap $NEW_BUTTON
await "New Record"
typed "Cellar door"
keys Tab
typed "4711"
tap_in "New Record" 60 230       # the note
typed "two lines,"
keys Return
typed "kept as typed"
shot 46-record-new
close "New Record"
# Adding to a protected category while locked asks for the password.
tap $LOCK_BUTTON
sleep 0.5
tap $NEW_BUTTON
await "New Record"
typed "Vault"
keys Return
await "Enter Password"
shot 47-record-add-unlock
keys Escape
gone "Enter Password"
close "New Record"
# A short list area: the form scrolls.
xdotool search --onlyvisible --name "^Vaultix V1.0.0\$" windowsize --sync 240 150 >/dev/null 2>&1 || \
  xdotool search --onlyvisible --name "^Vaultix V1.0.0\$" windowsize 240 150
sleep 0.6
tap $ROW2
await "View Record"
shot 48-record-short-area
geom "View Record"
for _ in 1 2 3 4 5 6 7 8; do tap $((X + WIDTH - 8)) $((Y + HEIGHT - 8)); done
shot 49-record-short-scrolled
close "View Record"
stop_all

echo "done"

# Import and export: the file chooser in both modes, started in a deep
# folder whose label is shortened, and the result messages.
DEEP="$WORK/csv/a-rather-long-folder-name/another-long-folder/one-more/exports"
mkdir -p "$DEEP/old-backups"
printf 'Shop,login,pw\nbank,Main account,12345678\n' >"$DEEP/passwords.csv"
data "$WORK/csvdata" 6
pushd "$DEEP" >/dev/null         # the chooser starts in the current folder
start "$WORK/csvdata"
popd >/dev/null
await "No Password"
keys Return
gone "No Password"
tap $UTILITY
sleep 0.4
keys Down Down Down Down Down Return  # Import
await "Import from File"
shot 60-import-chooser
tap 60 179                       # passwords.csv, the fourth entry
sleep 0.3
shot 61-import-file-chosen
keys Return
await "Import"
shot 62-import-result
keys Return
gone "Import"
tap $UTILITY
sleep 0.4
keys Down Down Down Down Down Down Return  # Export
await "Export to File"
typed backup.csv
sleep 0.2
shot 63-export-chooser
keys Return
await "Export"
shot 64-export-result
keys Return
gone "Export"
tap $UTILITY
sleep 0.4
keys Down Down Down Down Down Down Return
await "Export to File"
typed backup.csv
keys Return
await "Export"
shot 65-export-overwrite-question
keys Escape                      # No: the file stays as it was
gone "Export"
stop_all

# 7. Daily use: the menu of a held row, copying a protected field while
# locked, Find, the clipboard time and Generate in the record dialog.
data "$WORK/daily" 30 secret
start "$WORK/daily"
await "Vaultix V1.0.0"
xdotool mousemove 60 60 mousedown 1   # the pen held on the first row
sleep 0.8
xdotool mouseup 1
sleep 0.4
shot 70-row-menu
tap 120 147                      # Copy Account #: protected, so asked first
await "Enter Password"
shot 71-row-copy-unlock
typed secret
keys Return
gone "Enter Password"
keys ctrl+f
sleep 0.3
typed "hóme"
sleep 0.5
shot 72-find
keys Escape
sleep 0.3
tap $UTILITY
sleep 0.4
keys Down Down Down Down Return  # Configuration
await "Configuration"
shot 73-configuration-clipboard
keys Escape
gone "Configuration"
tap 170 16                       # the combo: Web Login, the last entry
sleep 0.5
keys End Return
sleep 0.4
tap $NEW_BUTTON
await "New Record"
typed "Shop"
keys Tab
typed "shop.example.com"
keys Tab
typed "me"
keys Tab
tap_in "New Record" 37 16        # Generate, into the Password field
sleep 0.3
shot 74-record-generate
close "New Record"
keys ctrl+q
gone "Vaultix V1.0.0"
stop_all
