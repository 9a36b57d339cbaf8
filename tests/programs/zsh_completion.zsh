#!/usr/bin/env zsh
# What zsh completes a command line of ipseccfgctl with: zsh_completion.zsh FOLDER CLIENT
#
# An interactive shell at a pseudo terminal gets the keys; what it would offer goes to a file.
emulate -R zsh
setopt err_exit pipe_fail no_unset
zmodload zsh/zpty
completions=$1 client=$2

place=$(mktemp -d)
trap 'zpty -d shell 2>/dev/null || true; rm -rf $place' EXIT
mkdir $place/home $place/home/folder
touch $place/home/{old.toml,new.toml,notes.txt,folder/deep.toml}
mkfifo $place/answer

cat >$place/setup <<ZSH
cd $place/home
PS1=''
fpath=($completions \$fpath)
autoload -Uz compinit
compinit -u -d $place/dump
compadd() {
    # Some calls only sort words; they offer nothing.
    if [[ \${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then
        builtin compadd "\$@"
        return
    fi
    local -a offered
    builtin compadd -O offered "\$@"
    (( \$#offered )) && print -rl -- \$offered >>$place/offered
    builtin compadd "\$@"
}
# One key: a second one that waits would keep the shell from completing files.
offer() { zle list-choices; BUFFER=''; print done >$place/answer }
zle -N offer
bindkey '^I' offer
print done >$place/answer
ZSH
zpty shell "zsh -f -i"
zpty -w shell ". $place/setup"
read -r answer <$place/answer

# completed LINE: what is offered, sorted, with commas between
completed() {
    local shown
    : >$place/offered
    zpty -w -n shell "ipseccfgctl $1"$'\t'
    read -r answer <$place/answer
    while zpty -r -t shell shown 2>/dev/null; do :; done
    LC_ALL=C sort -u $place/offered | paste -sd ,
}

# expect EXPECTED LINE
integer failures=0
expect() {
    local seen=$(completed "$2")
    [[ $seen == $1 ]] || {
        print -u2 "ipseccfgctl $2: expected '$1', got '$seen'"
        failures+=1
    }
}

# The names that a help text has: of commands, and of options.
commands_known=(${(f)"$($client --help | awk '/^Commands:/ { on = 1; next } /^$/ { on = 0 } on { print $1 }')"})
options_of() {
    { $client "$@" --help; print " -v --json --verbose --server " } | grep -oE '(^|[ ,])--?[a-z-]+\>' | tr -d ' ,' |
        grep -E '^(--[a-z]|-[hv]$)' | LC_ALL=C sort -u | paste -sd ,
}

expect ${(j:,:)${(o)commands_known}} ""
expect "start,status" "sta"
expect "start,status" "--json sta"
expect "$(options_of)" "-"
for command_known in $commands_known; do
    expect "$(options_of $command_known)" "$command_known -"
done
for command_known in start restart check show init; do
    expect "folder,new.toml,old.toml" "$command_known "
    expect "deep.toml" "$command_known folder/"
done
expect "folder,new.toml,old.toml" "diff old.toml "
# Where no word may follow there still are the options.
expect "$(options_of diff)" "diff old.toml new.toml "
expect "$(options_of status)" "status "
expect "notes.txt" "start --server no"
expect "notes.txt" "shutdown --setting-file no"
exit $(( failures > 0 ))
