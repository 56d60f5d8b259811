# shellcheck shell=bash
# Completion of kelo's command lines in bash: kelo itself knows what may stand where.

_kelo() {
  local kind=''
  COMPREPLY=()
  {
    read -r kind
    mapfile -t COMPREPLY
  } < <("$1" __complete bash "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
  case $kind in
    files) compopt -o default ;; # with no name of the account, bash completes file names
    folders) compopt -o dirnames ;;
  esac
  if [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == */ ]]; then
    compopt -o nospace
  fi
}
complete -F _kelo kelo
