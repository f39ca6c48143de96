text returned of (display dialog "Hi" with icon note default answer "" with hidden answer buttons {"OK"} default button 1)
