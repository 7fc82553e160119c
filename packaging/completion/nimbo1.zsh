#compdef nimbo1
# Completion of nimbo1 for zsh: the one for bash, which is installed with it.
autoload -U +X bashcompinit && bashcompinit
source "${${(%):-%x}:A:h:h:h}/bash-completion/completions/nimbo1"
_bash_complete -F _nimbo1
