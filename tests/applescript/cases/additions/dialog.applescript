display dialog "Hi" default answer "x" with title "T" buttons {"No", "Yes"} default button "Yes" with icon caution giving up after 5
