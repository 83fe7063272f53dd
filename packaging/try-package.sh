# Run by scripts/try-package inside a bare root: the life of the package, each step looked at. Ends at
# the first thing that is not as it should be.
set -Eeuo pipefail
failed() {
  echo "try-package: failed in line $1" >&2
  journalctl --unit=qelprfarc --unit=qelprfarc-segment --no-pager --lines=20 2> /dev/null || true
}
trap 'failed ${LINENO}' ERR

step() { printf '\n== %s\n' "$*"; }
run() { printf '$ %s\n' "$*"; eval "$*"; }
expect() { # what, command
  local what="$1"
  shift
  "$@" > /dev/null 2>&1 || { echo "try-package: not so: ${what}" >&2; exit 1; }
}
refuse() {
  local what="$1"
  shift
  if "$@" > /dev/null 2>&1; then
    echo "try-package: not so: ${what}" >&2
    exit 1
  fi
}
# All files that a package could leave, with owner and mode.
everything() {
  find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /packages -o -path /tmp \
    -o -path /var/cache -o -path /var/lib/apt -o -path /var/lib/dpkg -o -path /var/log \
    -o -path /var/lib/systemd -o -path /run -o -path /root \) -prune \
    -o -printf '%p %u:%g %m\n' | sort
}

# What it needs comes before, so that what stays behind is the package's own.
if [ "$1" = needs ]; then
  step "What the package needs of Debian"
  apt-get -qq update > /dev/null
  needs="$(apt-get -s install /packages/new.deb | sed -n 's/^Inst \([^ ]*\) .*/\1/p' | grep -v '^qelprfarc')"
  echo "${needs}" | xargs echo
  # shellcheck disable=SC2086
  apt-get -qq install --no-install-recommends ${needs} > /packages/log 2>&1
  apt-get -qq install --no-install-recommends logrotate >> /packages/log 2>&1
  exit 0
fi
everything > /packages/before

step "Installed"
run "apt-get -qq install /packages/new.deb 2> /dev/null | grep -v '^(Reading'"
expect "the package is there" dpkg-query --show qelprfarc
run "Qelprfarc -ver; psltool --version"
run "getent passwd qelprfarc | cut -d: -f1,5-"
run "stat --format='%U:%G %a %n' /opt/Qelsvr /opt/Qelsvr/etc /opt/Qelsvr/etc/log /opt/Qelsvr/etc/trace"
expect "trace and operation log are the user's" \
  sh -c '[ "$(stat -c %U:%G /opt/Qelsvr/etc/log /opt/Qelsvr/etc/trace | sort -u)" = qelprfarc:qelprfarc ]'
expect "the prefix is the system's" sh -c '[ "$(stat -c %U:%G /opt/Qelsvr)" = root:root ]'
run "ls -l /etc/qelprfarc.conf /etc/logrotate.d/qelprfarc | cut -d' ' -f1,3,4,9-"
refuse "the timer is switched off" systemctl is-enabled qelprfarc.timer
run "systemctl is-enabled qelprfarc.timer qelprfarc-segment.service || true"
run "/usr/libexec/qelprfarc/qelprfarc-segment configured || true"
refuse "nothing is archived before a directory is set" /usr/libexec/qelprfarc/qelprfarc-segment configured
run "systemd-analyze verify --man=no /lib/systemd/system/qelprfarc*.service /lib/systemd/system/qelprfarc.timer"

step "A first archive, by hand"
cd /tmp
run "psltool make -q --ld 16 --pd 16 --days 2 -o logs"
run "Qelprfarc -v -o . logs/*.psl"
run "psltool check *.psa"

step "A night, as qelprfarc.service has it"
install -d /srv/monitor
start="$(date --date='3 days ago' +%Y-%m-%d)"
printf '%s\n' QELPRFARC_ARCHIVE=/srv/monitor/psl 'QELPRFARC_OPTIONS="--keep-psl 30d --keep-hour 12m"' \
  >> /etc/qelprfarc.conf
run "tail -n 2 /etc/qelprfarc.conf"
# The lines of the units, with their users, as systemd would start them.
lines() { sed -n "s/^$2=//p" "/lib/systemd/system/$1" | sed 's/^-//'; }
as_unit() { # unit, kind of lines
  lines "$1" "$2" | while IFS= read -r line; do
    local before="setpriv --reuid=qelprfarc --regid=qelprfarc --clear-groups"
    case "${line}" in +*) line="${line#+}" before= ;; esac
    set -a
    . /etc/qelprfarc.conf
    if [ -e /run/qelprfarc/segment ]; then . /run/qelprfarc/segment; fi
    RUNTIME_DIRECTORY=/run/qelprfarc STATE_DIRECTORY=/var/lib/qelprfarc
    set +a
    line="$(eval echo "${line}")"
    echo "${2}: ${line}"
    ${before} ${line}
  done
}
logs="psltool make -q --ld 16 --pd 16 --days 3 --start ${start} -o /srv/monitor/psl"
if [ -d /run/systemd/system ]; then
  run "systemctl enable --now qelprfarc-segment.service qelprfarc.timer 2>&1"
  run "stat --format='%U:%G %a %n' /srv/monitor/psl"
  run "setpriv --reuid=qelprfarc --regid=qelprfarc --clear-groups ${logs}"
  run "psltool plan --segment \$(sed 's/.*=//' /run/qelprfarc/segment) | head -n 12"
  # Half past midnight, now.
  mkdir -p /etc/systemd/system/qelprfarc.timer.d
  printf '[Timer]\nOnCalendar=\nOnActiveSec=1\n' > /etc/systemd/system/qelprfarc.timer.d/now.conf
  systemctl daemon-reload
  run "systemctl restart qelprfarc.timer"
  for _ in $(seq 100); do
    sleep 0.2
    [ -e /var/lib/qelprfarc/qelprfarc.prom ] && ! systemctl is-active -q qelprfarc.service && break
  done
  run "systemctl show --property=Result,ExecMainStatus qelprfarc.service"
  run "journalctl --unit=qelprfarc --unit=qelprfarc-segment --no-pager --output=cat --quiet"
  expect "the night went well" \
    sh -c '[ "$(systemctl show --property=Result --value qelprfarc.service)" = success ]'
  rm -r /etc/systemd/system/qelprfarc.timer.d
  systemctl daemon-reload
  run "systemd-analyze security --no-pager qelprfarc.service | tail -n 1"
else
  install -d -o qelprfarc -g qelprfarc /run/qelprfarc /var/lib/qelprfarc
  as_unit qelprfarc-segment.service ExecCondition
  as_unit qelprfarc-segment.service ExecStartPre
  run "stat --format='%U:%G %a %n' /srv/monitor/psl"
  as_unit qelprfarc-segment.service ExecStart
  run "setpriv --reuid=qelprfarc --regid=qelprfarc --clear-groups ${logs}"
  as_unit qelprfarc.service ExecCondition
  as_unit qelprfarc.service ExecStart
  as_unit qelprfarc.service ExecStartPost
  as_unit qelprfarc.service ExecStopPost
fi
run "ls /srv/monitor/psl/archive"
expect "three days are archived" sh -c '[ "$(ls /srv/monitor/psl/archive/????????array01.psa | wc -l)" = 3 ]'
run "grep -v '^#' /var/lib/qelprfarc/qelprfarc.prom | head -n 6"
expect "the metrics say so" grep -qx 'qelprfarc_last_run_archived [3-9]' /var/lib/qelprfarc/qelprfarc.prom
expect "logrotate takes its snippet" logrotate --debug /etc/logrotate.d/qelprfarc

step "Upgraded"
run "apt-get -qq install /packages/later.deb 2> /dev/null | grep -v '^(Reading'"
run "dpkg-query --show qelprfarc"
expect "settings are kept" grep -q '^QELPRFARC_ARCHIVE=/srv/monitor/psl' /etc/qelprfarc.conf
if [ -d /run/systemd/system ]; then
  expect "the timer is as it was" systemctl is-enabled qelprfarc.timer
  expect "the segment is still there" sh -c 'psltool segment show $(sed "s/.*=//" /run/qelprfarc/segment)'
else
  refuse "the timer is still off" systemctl is-enabled qelprfarc.timer
fi

step "Removed"
[ -d /run/systemd/system ] || as_unit qelprfarc-segment.service ExecStop
run "apt-get -qq remove qelprfarc 2> /dev/null | grep -v '^(Reading'"
everything > /packages/removed
echo "what stays behind:"
comm -13 /packages/before /packages/removed | tee /packages/behind
refuse "no shared memory stays" sh -c 'ipcs --shmems | grep -q qelprfarc'
expect "settings stay" grep -q '^/etc/qelprfarc.conf ' /packages/behind
refuse "no program stays" grep -q '^/usr/' /packages/behind

step "Purged"
run "apt-get -qq purge qelprfarc 2> /dev/null | grep -v '^(Reading'"
everything > /packages/purged
echo "what stays behind:"
comm -13 /packages/before /packages/purged | tee /packages/behind
refuse "nothing but the data, and the user, stays" \
  grep -Ev '^/srv/monitor |^/srv/monitor/psl[ /]' /packages/behind
refuse "nothing of others is gone" sh -c 'comm -23 /packages/before /packages/purged | grep -v "^/tmp"'
run "getent passwd qelprfarc | cut -d: -f1,5-"
echo
echo "try-package: all as it should be"
