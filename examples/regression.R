# A linear regression of the ozone on the weather, as a block that the backend runs. What is missing, by the rules of the
# dictionary too, is left out. The coefficients go into the output as a table.
weather <- vexa.data(c("Ozone", "Solar_R", "Wind", "Temp"))
fit <- lm(Ozone ~ Solar_R + Wind + Temp, data = weather)
cat(length(fit$residuals), "of", nrow(weather), "days\n")
StartProcedure("Regression")
vexa.table(coef(summary(fit)), "Regression", "Coefficients", "Coefficients of Ozone", rows = "Term",
           columns = "Statistic", format = c("Coefficient", "CoefficientSE", "GeneralStat", "Significance"))
EndProcedure()
