# Completion of orloctl's commands, options and paths for bash. Install it as
# /usr/share/bash-completion/completions/orloctl, or source it.

_orloctl() {
   # Paths contain ':' and '=', at which bash splits words: the word is taken from the line itself.
   local line=${COMP_LINE:0:COMP_POINT}
   local current=${line##*[[:space:]]}
   local -a words before=()
   read -ra words <<<"$line"
   local count=$((${#words[@]} - 1))
   if [[ -n $current ]]; then count=$((count - 1)); fi
   local word option='' # the option whose value comes next
   local -a socket=()
   for word in "${words[@]:1:count}"; do
      if [[ -n $option ]]; then
         if [[ $option == --socket ]]; then socket=(--socket "$word"); fi
         option=''
         continue
      fi
      case $word in
      --socket | --color | --timeout | --vlan | --mac | --interface) option=$word ;;
      --socket=*) socket=("$word") ;;
      -*) ;;
      *) before+=("$word") ;;
      esac
   done

   local found=''
   case $option in
   --color) found='auto always never' ;;
   --socket)
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return
      ;;
   --timeout | --vlan | --mac | --interface) return ;;
   *)
      if [[ $current == -* ]]; then
         found='--socket --json --color --timeout --help'
         if [[ ${before[0]-} == show ]]; then found+=' --watch'; fi
         if [[ ${before[0]-} == audit ]]; then found+=' --repair'; fi
         if [[ ${before[*]-} == 'show pairs' ]]; then found+=' --vlan --mac --interface'; fi
      else
         case "${#before[@]} ${before[0]-}" in
         '0 ') found='show explain audit list get set remove call watch trace reload metrics' ;;
         '1 show') found='pairs waiting slots interfaces' ;;
         '1 list' | '1 get' | '1 set' | '1 remove' | '1 call' | '1 watch')
            found=$("${words[0]}" "${socket[@]}" --timeout 2 complete -- "$current" 2>/dev/null)
            compopt -o nospace 2>/dev/null # a path may go on
            ;;
         esac
      fi
      ;;
   esac
   local IFS=$' \t\n'
   if [[ "${#before[@]}" == 1 && ${before[0]} != show && $current != -* ]]; then IFS=$'\n'; fi # keys may have blanks
   COMPREPLY=()
   for word in $found; do
      if [[ $word == "$current"* ]]; then COMPREPLY+=("$word"); fi
   done
   # What stands before the last separator is there already.
   local separator
   for separator in : =; do
      if [[ $current == *"$separator"* && $COMP_WORDBREAKS == *"$separator"* ]]; then
         local there=${current%"${current##*"$separator"}"}
         COMPREPLY=("${COMPREPLY[@]#"$there"}")
      fi
   done
}

complete -F _orloctl orloctl
