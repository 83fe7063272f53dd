# Prints what zsh offers at the end of a command line, one a line: ask_zsh.zsh SCRIPTS LINE. A second zsh,
# behind a terminal of its own, gets the line and the key; its compadd writes down what it is given.
zmodload zsh/zpty
export OFFERED=$(mktemp)
zpty asked zsh -f -i
asked() { zpty -w asked "$1" }
asked "PS1=; PS2=; fpath=($1 \$fpath); autoload -Uz compinit; compinit -D -u"
asked 'compadd() {
  if [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then builtin compadd "$@"; return; fi
  local -a offered
  builtin compadd -A offered "$@"
  print -rl -- $offered >> $OFFERED
  builtin compadd "$@"
}'
asked 'ask() { print done > $OFFERED.done; zle kill-whole-line }; zle -N ask; bindkey "^X" ask'
asked 'bindkey "^I" list-choices; LISTMAX=9999; unsetopt beep'
asked 'print ready > $OFFERED.ready'
await() { for ((i = 0; i < 400; ++i)); do [[ -s $1 ]] && return; sleep 0.05; done }
await $OFFERED.ready
zpty -w -n asked "$2"$'\t\x18'
await $OFFERED.done
zpty -d asked
cat $OFFERED
rm -f $OFFERED $OFFERED.ready $OFFERED.done
