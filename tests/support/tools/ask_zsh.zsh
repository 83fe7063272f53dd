# Prints what zsh offers at the end of a command line, one a line: ask_zsh.zsh SCRIPTS LINE. A second zsh,
# behind a terminal of its own, gets the line and the key; its compadd writes down what it is given.
if [[ $1 == --inside ]]; then  # the second one
  PS1= PS2=
  # compinit reads every function of its path: what is tried and the general ones are in it, and what
  # these call lies behind.
  whole=($fpath)
  fpath=($2 ${^fpath}/compinit(N:h) ${^fpath}/_main_complete(N:h))
  autoload -Uz compinit
  compinit -D -u
  fpath+=($whole)
  autoload -Uz _files _path_files
  compadd() {
    if [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then builtin compadd "$@"; return; fi
    local -a offered
    builtin compadd -A offered "$@"
    print -rl -- $offered >> $OFFERED
    builtin compadd "$@"
  }
  ask() { print done > $OFFERED.done; zle kill-whole-line }
  zle -N ask
  bindkey "^B" ask  # no longer binding begins with it, for whose end zsh would wait
  bindkey "^I" list-choices
  LISTMAX=9999
  unsetopt beep
  print ready > $OFFERED.ready
  return
fi
zmodload zsh/zpty
export OFFERED=$(mktemp)
zpty asked zsh -f -i
zpty -w asked "source ${(%):-%x} --inside $1"
await() { for ((i = 0; i < 2000; ++i)); do [[ -s $1 ]] && return; sleep 0.01; done }
await $OFFERED.ready
zpty -w -n asked "$2"$'\t\x02'
await $OFFERED.done
zpty -d asked
cat $OFFERED
rm -f $OFFERED $OFFERED.ready $OFFERED.done
