#!/usr/bin/env bash
# Nobody includes upwards: what each room's files may include, beside the link lines that say the same.
# usage: include_check.sh SOURCE_DIR
set -u
cd "$1/src" || exit 2
failed=0

# deny ROOMS PATTERN REASON: no file of these rooms may include what matches.
deny() {
    local hits
    hits=$(grep -rnE "^\s*#include\s*[<\"]($2)" $1 --include=*.h --include=*.cpp 2>/dev/null)
    [ -z "$hits" ] && return
    printf '%s:\n%s\n' "$3" "$hits"
    failed=1
}

qt='Q[A-Z][A-Za-z]*[>"]|Qt[A-Z]'
widgets='QApplication|QWidget|QDialog|QMainWindow|QMessageBox|QLabel|QPushButton|QTextEdit|QToolBar|QtWidgets|QMenu|QListWidget|QComboBox|QSlider|QStatusBar'
gui='QImage|QPainter|QColor|QFont|QPixmap|QCursor|QClipboard|QGuiApplication|QtGui'
floors='app/|ui/|media/|whiteboard/|session/|messaging/'

deny 'text/one_line.h text/one_line.cpp' "$qt" 'the text rule serves those who know no Qt'
deny 'avahi' "$qt|boost/|text/|files/|$floors|settings/|base/|contract/|cipher/|platform/|service/" 'speaking to Avahi knows nobody'
deny 'files' "$qt|boost/|text/|$floors|settings/|base/|contract/|cipher/|platform/|service/" 'opening files knows nobody'
deny 'meeting_file' "$qt|boost/|text/|$floors|settings/|base/|contract/|cipher/|platform/|service/" 'a meeting file knows only how to open files'
deny 'text' "$floors|settings/|base/|contract/|cipher/|platform/|service/" 'the text rule knows nobody'
deny 'service/wire service/net service/codec service/relay service/zephyld' "$qt|text/qt_" 'the service knows no Qt'
deny 'service/wire service/net service/codec service/relay service/zephyld' "$floors|settings/|base/|contract/|cipher/|platform/" 'the service knows nothing of the client'
deny 'service/wire' 'boost/|openssl/|sys/socket' 'the wire knows no sockets'
relay='(backup/[a-z_]+|admin_socket|config|connection|connection_list|metrics|metrics_server|process_memory|relay|report|server_tls|services)\.h'
deny 'service/relay/log' "service/(net|codec)/|service/relay/(door/|meeting/|$relay)" 'the log knows only what it keeps'
deny 'service/relay/door' "service/(net|codec)/|service/relay/(log/|meeting/|$relay)" 'the door knows no meeting'
deny 'service/postgres' "$qt|boost/|text/|files/|$floors|settings/|base/|contract/|cipher/|platform/|service/(wire|net|codec|link|zephyld)/|service/relay/[^d]|service/relay/door/[^d]" 'speaking to a database knows nobody who asks it'
deny 'service/nats' "$qt|boost/|text/|files/|$floors|settings/|base/|contract/|cipher/|platform/|service/(wire|net|codec|link|zephyld)/|service/relay/[^c]|service/relay/c[^l]" 'speaking to the servers knows nobody who asks them'
deny 'service/relay/cluster' "service/(net|codec)/|service/relay/(door/|meeting/|$relay)" 'what relays share knows no meeting'
deny 'service/relay/mail' "service/(net|codec|wire)/|service/relay/(door/|log/|meeting/|$relay)" 'letters know nobody who asks for them'
deny 'service/relay/meeting' "service/(net|codec)/|service/relay/$relay|openssl/|sqlite3|unicode/|boost/asio/ip/" 'a meeting knows a client by meeting/client.h'
deny 'service/relay/meeting/meeting* service/relay/meeting/seat* service/relay/meeting/lane_out*' 'service/relay/meeting/directory' 'a meeting knows the list of meetings by meeting/meeting_keeper.h'
deny 'service/relay/memory_watch* service/relay/counters* service/relay/live_limits* service/relay/live_tls* service/relay/options* service/relay/private_folder* service/relay/this_computer*' "service/relay/(log/|door/|meeting/|$relay)" 'what all rooms of the relay share knows none of them'
deny 'service/relay/log service/relay/door service/relay/meeting service/relay/cluster service/relay/mail' 'service/relay/keepers/' 'who keeps what stands above meetings'
deny 'service/link cli' "$gui|$widgets" 'link and command line have no screen'
deny 'service/link' "$floors|settings/|platform/|service/relay" 'the link knows contract, cipher and base only'
deny 'base contract cipher platform' "$floors|settings/|service/" 'the ground floor includes nothing above it'
deny 'contract' 'base/|cipher/|platform/' 'the contract knows texts at most'
deny 'cipher' 'base/|contract/|platform/' 'the cipher knows texts at most'
deny 'platform' 'base/|cipher/' 'the machine knows texts and pictures; the process state knows the machine'
deny 'settings' "$floors|service/" 'settings include nothing above them'
deny 'widgets' "$floors|settings/|service/|platform/" 'how controls are made knows nothing of what they do'
deny 'session messaging' 'app/|ui/|media/|whiteboard/|service/' 'session and messaging know neither board nor media'
deny 'whiteboard' 'app/|ui/|media/|session/|service/' 'the whiteboard knows nothing of media'
deny 'export replay' "$widgets|widgets/|app/|ui/|media/|session/|service/" 'what leaves a meeting knows boards and files'
deny 'export' 'replay/' 'what left a meeting knows nothing of who replays it'
deny 'media' 'app/|ui/|session/|service/' 'media includes nothing above it'
deny 'voice' 'ui/|media/|whiteboard/|session/|messaging/|service/' 'the voice companion knows the client by its door'
deny "$(ls voice/*.h voice/*.cpp | grep -vE '/(main|window|partners)\.' | tr '\n' ' ')" "$qt|app/|settings/|base/|platform/|cipher/|widgets/|text/" 'its sound knows no Qt'
deny 'ui' 'app/|service/' 'the windows know the service by its contract'
deny 'base contract cipher settings' "$gui|$widgets|widgets/" 'core knows values only'
[ "$(grep -cE '^inline constexpr (SettingKey|FlagKey) k' settings/keys.h)" = "$(grep -oE '&k[A-Z]\w+' settings/keys.h | wc -l)" ] ||
    { echo 'settings/keys.h: a key is missing in the list of all keys'; failed=1; }

# A header and its .cpp are one file here, and so is what several .cpp files of one class share ("_parts").
# What includes each other around cannot be read, tested or moved alone.
circles=$(grep -rnoE '^#include "[a-z_/0-9]+\.h"' --include=*.h --include=*.cpp . |
    sed -E 's#^\./([^:]*)\.(h|cpp):[0-9]+:\#include "(.*)\.h"#\1 \3#; s#_parts( |$)#\1#g' |
    awk '$1 != $2 && $1 !~ /^(platform\/linux|service\/net)\//' | sort -u | tsort 2>&1 >/dev/null)
if [ -n "$circles" ]; then
    printf 'files that include each other around:\n%s\n' "$circles"
    failed=1
fi
exit $failed
