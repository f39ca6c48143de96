display alert "A" message "m" as critical buttons {"A", "B"} default button "B" cancel button 1
